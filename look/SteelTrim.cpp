#include "look/SteelTrim.h"

#include "look/HexBolt.h"
#include "look/Shadow.h"
#include "look/Theme.h"

#include <QLinearGradient>

namespace wingbell {

namespace {

Shadow trimShadow()
{
    return {Theme::faded(Qt::black, 0.6), 4.0, QPointF(0.0, 3.0)};
}

} // namespace

SteelTrim::SteelTrim(QQuickItem* parent)
    : PaintedSurface(parent)
{
    setReach(trimShadow().reach());
}

void SteelTrim::paintSurface(QPainter& painter, const QSizeF& size)
{
    const QRectF strip(QPointF(), size);
    paintShadow(painter, strip, trimShadow(), [&strip](QPainter& shape) {
        shape.fillRect(strip, Qt::black);
    });

    QLinearGradient steel(0.0, 0.0, 0.0, size.height());
    steel.setColorAt(0.0, Theme::steelLight());
    steel.setColorAt(0.5, Theme::steelMid());
    steel.setColorAt(1.0, Theme::steelDark());
    painter.fillRect(strip, steel);

    constexpr double lineHeight = 1.5;
    constexpr double lineOpacity = 0.6;
    painter.fillRect(
        QRectF(0.0, 0.0, size.width(), lineHeight), Theme::faded(Theme::gold(), lineOpacity));

    constexpr double diameter = 11.0;
    constexpr double inset = 16.0;
    const double top = (size.height() - diameter) / 2.0;
    paintHexBolt(painter, QPointF(inset, top), diameter);
    paintHexBolt(painter, QPointF(size.width() - inset - diameter, top), diameter);
}

} // namespace wingbell
