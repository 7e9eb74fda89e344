#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace wingbell {

/// Waits, in the GLib main loop of the thread that made it, for a file descriptor, for a point in
/// time, or for both. Nothing is called once it is destroyed, not even from inside its own call.
class LoopSource
{
public:
    using Clock = std::chrono::steady_clock;

    /// As poll() has them: POLLIN, POLLOUT; POLLHUP and POLLERR come unasked. None: it is time.
    using Ready = std::function<void(short events)>;

    /// Waits for a time only.
    explicit LoopSource(Ready ready);
    /// `descriptor` stays its owner's and must outlive this.
    LoopSource(int descriptor, Ready ready);
    LoopSource(const LoopSource&) = delete;
    LoopSource& operator=(const LoopSource&) = delete;
    ~LoopSource();

    /// From now on waits for `events` of the descriptor.
    void await(short events);

    /// Calls, once, at `due`, instead of whatever time was set before; nothing: at no time.
    void wakeAt(std::optional<Clock::time_point> due);

    /// Calls once, soon, from the main loop. A time that was set is forgotten.
    void wakeSoon();

private:
    struct Source;

    std::shared_ptr<Ready> m_ready;
    Source* m_source;
    void* m_tag = nullptr; ///< GLib's name for the descriptor; none without one
    short m_awaited = 0;
};

} // namespace wingbell
