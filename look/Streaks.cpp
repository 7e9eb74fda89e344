#include "look/Streaks.h"

#include "look/Theme.h"

#include <QPen>

#include <algorithm>
#include <cmath>

namespace wingbell {

namespace {

constexpr double distance = 3.0;
constexpr double lineWidth = 1.0;

double opacityAt(double x)
{
    return std::max(0.0, std::sin(0.6 * x) * 0.02 + 0.025);
}

} // namespace

QList<Streak> streaksOf(const QSizeF& plate)
{
    const double end = plate.width() + plate.height();
    QList<Streak> streaks;
    if (!(end > 0.0)) {
        return streaks;
    }
    streaks.reserve(static_cast<qsizetype>(end / distance) + 1);
    for (qsizetype index = 0; static_cast<double>(index) * distance < end; ++index) {
        const double x = static_cast<double>(index) * distance;
        streaks.append({QLineF(x, 0.0, x - plate.height(), plate.height()), opacityAt(x)});
    }
    return streaks;
}

void paintStreaks(QPainter& painter, const QSizeF& plate, double opacity)
{
    QPen pen;
    pen.setWidthF(lineWidth);
    pen.setCapStyle(Qt::FlatCap);
    for (const Streak& streak : streaksOf(plate)) {
        pen.setColor(Theme::faded(Qt::white, streak.opacity * opacity));
        painter.setPen(pen);
        painter.drawLine(streak.line);
    }
}

} // namespace wingbell
