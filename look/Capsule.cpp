#include "look/Capsule.h"

#include <QPen>

#include <algorithm>

namespace wingbell {

namespace {

constexpr double outlineWidth = 1.0;

} // namespace

Capsule::Capsule(QQuickItem* parent)
    : PaintedSurface(parent)
{
    setReach(outlineWidth / 2.0);
    connect(this, &Capsule::lookChanged, this, &QQuickItem::update);
}

void Capsule::paintSurface(QPainter& painter, const QSizeF& size)
{
    const double radius = std::min(size.width(), size.height()) / 2.0;
    const QRectF pill(QPointF(), size);
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_fill);
    painter.drawRoundedRect(pill, radius, radius);
    painter.setPen(QPen(m_outline, outlineWidth));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(pill, radius, radius);
}

} // namespace wingbell
