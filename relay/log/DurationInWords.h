#pragma once

#include <QString>

#include <chrono>

namespace wingbell {

/// "3 minutes 12 seconds": hours, minutes and seconds without the ones that are none, rounded down.
/// Less than a second, and anything negative, is "less than a second".
[[nodiscard]] QString durationInWords(std::chrono::milliseconds duration);

} // namespace wingbell
