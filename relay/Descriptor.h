#pragma once

#include <unistd.h>
#include <utility>

namespace wingbell {

/// Owns an open file descriptor, or none (-1), and closes it at its end.
class Descriptor
{
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor)
        : m_descriptor(descriptor)
    {
    }
    Descriptor(Descriptor&& other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1))
    {
    }
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        Descriptor taken(std::move(other));
        std::swap(m_descriptor, taken.m_descriptor);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (isOpen()) {
            ::close(m_descriptor);
        }
    }

    [[nodiscard]] int get() const { return m_descriptor; }
    [[nodiscard]] bool isOpen() const { return m_descriptor >= 0; }

private:
    int m_descriptor = -1;
};

} // namespace wingbell
