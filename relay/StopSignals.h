#pragma once

#include "base/FileDescriptor.h"

namespace wingbell {

/// Holds back the terminate and interrupt signals from its construction on and makes them something
/// to wait for. Also has a broken pipe be an error, and a terminal that is closed be nothing,
/// instead of the end of the program.
///
/// For the whole program: to be made once, before any thread. Where the system cannot hold them
/// back, they end the program at once, as they do by themselves.
class StopSignals
{
public:
    StopSignals();

    /// Readable once the program was asked to stop. Stays ours.
    [[nodiscard]] int descriptor() const { return m_descriptor.get(); }

private:
    FileDescriptor m_descriptor;
};

} // namespace wingbell
