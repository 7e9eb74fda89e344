#pragma once

#include <QColor>
#include <QPainter>
#include <QPainterPath>
#include <QString>

namespace wingbell {

/// The outline of the desk's symbol of that name, to be filled, in a font of 1 point: within the
/// square from (-0.6, -0.6) to (0.6, 0.6), the optical centre at the origin. Empty for a name that
/// the desk has no symbol for.
///
/// Names: "hexagon", "hexagon.fill", "exclamationmark.triangle.fill", "plus.circle.fill",
/// "trash.fill", "mic.fill", "headphones", "minus", "xmark", "square", "square.on.square".
[[nodiscard]] QPainterPath symbolOutline(const QString& name);

/// Width and height of a symbol's square in a font of `fontSize` points.
[[nodiscard]] constexpr double symbolExtent(double fontSize)
{
    return 1.2 * fontSize;
}

/// Paints the symbol centred on `centre`, sized as in a font of `fontSize` points.
void paintSymbol(
    QPainter& painter, const QString& name, const QPointF& centre, double fontSize,
    const QColor& color);

} // namespace wingbell
