#pragma once

#include <QLineF>
#include <QList>
#include <QPainter>
#include <QSizeF>

namespace wingbell {

/// One hairline of brushed steel, in points.
struct Streak
{
    QLineF line;
    double opacity; ///< of white, from 0 to 1
};

/// The hairlines of a plate of that size: diagonals that fall to the left at 45 degrees, 3 points
/// apart along the top edge, of an opacity that wavers without chance. The same size gives the same
/// lines always; no size gives none.
[[nodiscard]] QList<Streak> streaksOf(const QSizeF& plate);

/// Paints the hairlines of a plate of that size whose top left corner is the origin, each 1 point
/// wide, all together at `opacity` from 0 to 1.
void paintStreaks(QPainter& painter, const QSizeF& plate, double opacity);

} // namespace wingbell
