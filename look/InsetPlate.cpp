#include "look/InsetPlate.h"

#include <QPainterPath>

namespace wingbell {

InsetPlate::InsetPlate(QQuickItem* parent)
    : PaintedSurface(parent)
{
    connect(this, &InsetPlate::lookChanged, this, [this] { repaint(); });
}

void InsetPlate::paintSurface(QPainter& painter, const QSizeF& size)
{
    QPainterPath plate;
    plate.addRoundedRect(QRectF(QPointF(), size), m_cornerRadius, m_cornerRadius);
    painter.fillPath(plate, m_fill);

    // The inner half of a line of 1 point centred on the edge.
    constexpr double visibleWidth = 0.5;
    QPainterPath inner;
    inner.addRoundedRect(
        QRectF(QPointF(), size).adjusted(visibleWidth, visibleWidth, -visibleWidth, -visibleWidth),
        m_cornerRadius - visibleWidth, m_cornerRadius - visibleWidth);
    painter.fillPath(plate.subtracted(inner), m_outline);
}

} // namespace wingbell
