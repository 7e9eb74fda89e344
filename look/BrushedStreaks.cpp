#include "look/BrushedStreaks.h"

#include "look/Streaks.h"

#include <QPainterPath>

namespace wingbell {

BrushedStreaks::BrushedStreaks(QQuickItem* parent)
    : PaintedSurface(parent)
{
    connect(this, &BrushedStreaks::streakOpacityChanged, this, [this] { repaint(); });
}

void BrushedStreaks::paintSurface(QPainter& painter, const QSizeF& size)
{
    QPainterPath plate;
    plate.addRect(QRectF(QPointF(), size));
    paintBrushedSteel(painter, plate, size, m_streakOpacity);
}

} // namespace wingbell
