#pragma once

#include <QLineF>
#include <QList>
#include <QPainter>
#include <QPainterPath>
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

/// Fills `shape` with the steel of a plate of that size whose top left corner is the origin: darker
/// from top to bottom, under the plate's hairlines, each 1 point wide and all together at
/// `streakOpacity` from 0 to 1.
void paintBrushedSteel(
    QPainter& painter, const QPainterPath& shape, const QSizeF& plate, double streakOpacity);

} // namespace wingbell
