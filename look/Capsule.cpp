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
}

void Capsule::setFill(const QColor& fill)
{
    if (m_fill == fill) {
        return;
    }
    m_fill = fill;
    repaint();
    Q_EMIT fillChanged();
}

void Capsule::setOutline(const QColor& outline)
{
    if (m_outline == outline) {
        return;
    }
    m_outline = outline;
    repaint();
    Q_EMIT outlineChanged();
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
