#include "look/HeavyLetters.h"

#include <QFontMetricsF>
#include <QPainterPathStroker>

namespace wingbell {

QPainterPath heavyLetters(const QString& text, const QFont& font)
{
    QPainterPath letters;
    letters.addText(QPointF(0.0, QFontMetricsF(font).ascent()), font, text);
    constexpr double addedWeight = 0.04; // of the letters' size, half of it on each side of a stem
    QPainterPathStroker stroker;
    stroker.setWidth(addedWeight * font.pixelSize());
    stroker.setJoinStyle(Qt::RoundJoin);
    return letters.united(stroker.createStroke(letters));
}

} // namespace wingbell
