#pragma once

#include <chrono>
#include <functional>

namespace wingbell {

/// Something the main loop waits for, for as long as this lives. Move-only; main thread only. What
/// is called may end the very watch that calls it.
class Watch
{
public:
    Watch() = default; ///< waits for nothing

    /// Calls `ready` whenever there is something to read from `descriptor`, which stays the
    /// caller's and must stay open.
    [[nodiscard]] static Watch readable(int descriptor, std::function<void()> ready);
    /// Calls `ready` whenever `descriptor` takes something, or is broken.
    [[nodiscard]] static Watch writable(int descriptor, std::function<void()> ready);
    /// Calls `due` once, not before `delay` has passed.
    [[nodiscard]] static Watch after(std::chrono::milliseconds delay, std::function<void()> due);
    /// Calls `due` every `period`.
    [[nodiscard]] static Watch every(std::chrono::milliseconds period, std::function<void()> due);

    Watch(Watch&& other) noexcept;
    Watch& operator=(Watch&& other) noexcept;
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch();

    [[nodiscard]] bool isActive() const { return m_source != 0; }

private:
    explicit Watch(unsigned source)
        : m_source(source)
    {
    }

    unsigned m_source = 0;
};

} // namespace wingbell
