#include "look/BrushedStreaks.h"

#include "look/Streaks.h"

namespace wingbell {

void BrushedStreaks::paintSurface(QPainter& painter, const QSizeF& size)
{
    painter.setClipRect(QRectF(QPointF(), size));
    paintStreaks(painter, size, 1.0);
}

} // namespace wingbell
