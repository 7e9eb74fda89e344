#pragma once

#include <QByteArray>
#include <QtGlobal>

namespace wingbell {

/// `count` bytes that nobody can guess, from the system's cryptographic source. Ends the program
/// when there is no such source: no secret could be made.
[[nodiscard]] QByteArray randomBytes(qsizetype count);

} // namespace wingbell
