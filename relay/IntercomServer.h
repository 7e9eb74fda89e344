#pragma once

#include "base/FileDescriptor.h"

#include <QStringList>

namespace wingbell {

/// Blocks the terminate and interrupt signals and makes them readable from a descriptor (signalfd).
/// Also ignores SIGPIPE, so that a broken pipe is an error, and SIGHUP, so that a terminal may be
/// closed.
///
/// For the whole program: to be made once, before any thread. Where the system cannot block them,
/// they end the program at once, as they do by default.
class StopSignals
{
public:
    StopSignals();

    /// Readable once the program was asked to stop.
    [[nodiscard]] int descriptor() const { return m_descriptor.get(); }

private:
    FileDescriptor m_descriptor;
};

/// Puts the show on air whose file is the one of `arguments`, until there is a stop signal. Returns
/// the exit status: 0 after a show, 1 if it could not go on air, 2 if there is not exactly one
/// argument.
///
/// Standard output stays empty until the show is on air; what keeps it from that is told on
/// standard error. `arguments` are those behind the program's name.
[[nodiscard]] int runIntercomServer(const QStringList& arguments, const StopSignals& stop);

} // namespace wingbell
