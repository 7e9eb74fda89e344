#pragma once

#include <QStringList>

namespace wingbell {

class StopSignals;

/// Puts the show on air whose file is the one of `arguments`, until a stop signal came. The exit
/// status: 0 after a show, 1 when it could not go on air, 2 when the arguments were no single one.
///
/// Standard output stays empty until the show is on air; what keeps it from that is told on
/// standard error. `arguments` are those behind the program's name.
[[nodiscard]] int runIntercomServer(const QStringList& arguments, const StopSignals& stop);

} // namespace wingbell
