#pragma once

#include <QFont>
#include <QPainterPath>
#include <QString>

namespace wingbell {

/// The outlines of a line of letters a good deal heavier than in that font, whose size is in
/// pixels, for rounded families end with bold. As long as in the font itself, with the line's top
/// left corner at the origin.
[[nodiscard]] QPainterPath heavyLetters(const QString& text, const QFont& font);

} // namespace wingbell
