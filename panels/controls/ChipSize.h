#pragma once

#include <QFont>
#include <QSizeF>
#include <QString>

namespace wingbell {

/// The letters of a chip.
[[nodiscard]] QFont chipFont();

/// The size that a chip with that text has, in points: known without making the chip. Remembers
/// what it has measured. User-interface thread only.
[[nodiscard]] QSizeF chipSize(const QString& text);

} // namespace wingbell
