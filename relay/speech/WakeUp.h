#pragma once

#include "model/FileDescriptor.h"

namespace wingbell {

/// Wakes a thread that waits for descriptors. Any number of calls of raise() make one waking.
class WakeUp
{
public:
    WakeUp();

    /// Any thread; never waits.
    void raise() const noexcept;

    /// Readable from raise() until clear(). Stays ours.
    [[nodiscard]] int descriptor() const { return m_descriptor.get(); }

    void clear() const noexcept;

private:
    FileDescriptor m_descriptor;
};

} // namespace wingbell
