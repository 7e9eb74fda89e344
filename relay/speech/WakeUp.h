#pragma once

#include "base/FileDescriptor.h"

namespace wingbell {

/// Wakes a thread that waits for descriptors. Any number of calls of raise() make one waking.
class WakeUp
{
public:
    /// Throws std::system_error where the system has no descriptor left.
    WakeUp();

    /// Any thread; never waits.
    void raise() const noexcept;

    /// Readable from raise() until clear(). Stays ours.
    [[nodiscard]] int descriptor() const { return m_descriptor.get(); }

    [[nodiscard]] bool isRaised() const noexcept;
    void clear() const noexcept;

private:
    FileDescriptor m_descriptor;
};

} // namespace wingbell
