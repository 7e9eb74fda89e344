#include "look/LampLight.h"

#include "look/Shadow.h"
#include "look/Theme.h"

#include <QRadialGradient>

namespace wingbell {

namespace {

constexpr double diameter = 34.0;
constexpr double ringWidth = 2.0;

Shadow glowOf(const QColor& color, double radius)
{
    return {Theme::faded(color, 0.85), radius, {}};
}

} // namespace

LampLight::LampLight(QQuickItem* parent)
    : PaintedSurface(parent)
{
    setImplicitSize(diameter, diameter);
    setReach(ringWidth);
    connect(this, &LampLight::lookChanged, this, [this] {
        setReach(glowOf(m_color, m_glowRadius).reach());
        update();
    });
}

void LampLight::paintSurface(QPainter& painter, const QSizeF& size)
{
    const QRectF lamp(QPointF(), size);
    paintShadow(painter, lamp, glowOf(m_color, m_glowRadius), [&lamp](QPainter& shape) {
        shape.setPen(Qt::NoPen);
        shape.setBrush(Qt::black);
        shape.drawEllipse(lamp);
    });

    constexpr double lightRadius = 22.0;
    constexpr double rimOpacity = 0.35;
    QRadialGradient light(lamp.center(), lightRadius);
    light.setColorAt(0.0, m_color);
    light.setColorAt(1.0, Theme::faded(m_color, rimOpacity));
    painter.setPen(Qt::NoPen);
    painter.setBrush(light);
    painter.drawEllipse(lamp);

    painter.setPen(QPen(Theme::steelDark(), ringWidth));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(lamp);
}

} // namespace wingbell
