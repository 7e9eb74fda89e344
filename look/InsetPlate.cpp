#include "look/InsetPlate.h"

#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace wingbell {

InsetPlate::InsetPlate(QQuickItem* parent)
    : PaintedSurface(parent)
{
    connect(this, &InsetPlate::lookChanged, this, &QQuickItem::update);
}

void InsetPlate::paintSurface(QPainter& painter, const QSizeF& size)
{
    const double pixelsAPoint = painter.deviceTransform().m11();
    // Down, so that wherever the plate is put what clips it does not take its outline.
    const auto wholePixels = [pixelsAPoint](double points) {
        constexpr double hardlyLess = 0.01; // what multiplying takes
        return std::floor(points * pixelsAPoint + hardlyLess) / pixelsAPoint;
    };
    const QRectF frame(0.0, 0.0, wholePixels(size.width()), wholePixels(size.height()));
    const double radius = std::min({m_cornerRadius, frame.width() / 2.0, frame.height() / 2.0});
    QPainterPath plate;
    plate.addRoundedRect(frame, radius, radius);
    if (m_outlineWidth <= 0.0 || m_outline.alpha() == 0) {
        painter.fillPath(plate, m_fill);
        return;
    }

    const bool isHairline = m_outlineWidth < 1.0;
    const double line =
        isHairline ? m_outlineWidth : std::round(m_outlineWidth * pixelsAPoint) / pixelsAPoint;
    const double innerRadius = std::max(0.0, radius - line);
    QPainterPath inner;
    inner.addRoundedRect(frame.adjusted(line, line, -line, -line), innerRadius, innerRadius);
    painter.fillPath(isHairline ? plate : inner, m_fill);
    painter.fillPath(plate.subtracted(inner), m_outline);
}

} // namespace wingbell
