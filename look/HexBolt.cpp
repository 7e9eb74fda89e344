#include "look/HexBolt.h"

#include "look/Shadow.h"
#include "look/Symbols.h"
#include "look/Theme.h"

#include <QRadialGradient>

namespace wingbell {

namespace {

Shadow boltShadow()
{
    return {Theme::faded(Qt::black, 0.7), 2.0, QPointF(0.0, 1.0)};
}

} // namespace

void paintHexBolt(QPainter& painter, const QPointF& topLeft, double diameter)
{
    const QRectF frame(topLeft, QSizeF(diameter, diameter));
    paintShadow(painter, frame, boltShadow(), [&frame](QPainter& shape) {
        shape.setPen(Qt::NoPen);
        shape.setBrush(Qt::black);
        shape.drawEllipse(frame);
    });

    QRadialGradient light(frame.topLeft(), diameter, frame.topLeft(), 1.0);
    light.setColorAt(0.0, Theme::steelLight());
    light.setColorAt(1.0, Theme::steelDark());
    painter.setPen(Qt::NoPen);
    painter.setBrush(light);
    painter.drawEllipse(frame);

    const double fontSize = 0.42 * diameter;
    paintSymbol(
        painter, QStringLiteral("hexagon.fill"), frame.center(), fontSize,
        Theme::faded(Qt::black, 0.8));
    paintSymbol(
        painter, QStringLiteral("hexagon"), frame.center(), fontSize,
        Theme::faded(Theme::steelLight(), 0.6));
}

HexBolt::HexBolt(QQuickItem* parent)
    : PaintedSurface(parent)
{
    setReach(boltShadow().reach());
}

void HexBolt::setDiameter(double diameter)
{
    if (implicitWidth() == diameter) {
        return;
    }
    setImplicitSize(diameter, diameter);
    Q_EMIT diameterChanged();
}

void HexBolt::paintSurface(QPainter& painter, const QSizeF& size)
{
    paintHexBolt(painter, QPointF(), size.width());
}

} // namespace wingbell
