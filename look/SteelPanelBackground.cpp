#include "look/SteelPanelBackground.h"

#include "look/Streaks.h"
#include "look/Theme.h"

#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace wingbell {

namespace {

constexpr double edgeWidth = 1.0;

} // namespace

SteelPanelBackground::SteelPanelBackground(QQuickItem* parent)
    : PaintedSurface(parent)
{
    setReach(edgeWidth / 2.0); // the edge is centred on the outline
}

void SteelPanelBackground::setCornerRadius(double radius)
{
    if (m_cornerRadius == radius) {
        return;
    }
    m_cornerRadius = radius;
    repaint();
    Q_EMIT cornerRadiusChanged();
}

void SteelPanelBackground::setNearTop(double top)
{
    if (m_nearTop == top) {
        return;
    }
    m_nearTop = top;
    takeNear();
    Q_EMIT nearChanged();
}

void SteelPanelBackground::setNearBottom(double bottom)
{
    if (m_nearBottom == bottom) {
        return;
    }
    m_nearBottom = bottom;
    takeNear();
    Q_EMIT nearChanged();
}

void SteelPanelBackground::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry)
{
    takeNear();
    PaintedSurface::geometryChange(newGeometry, oldGeometry);
}

void SteelPanelBackground::takeNear()
{
    // In long steps, because each paints anew; a plate of common size is painted whole.
    constexpr double step = 512.0;
    constexpr double common = 3.0 * step;
    if (height() <= common) {
        paintOnly(0.0, height());
        return;
    }
    paintOnly(
        std::floor(std::max(m_nearTop, 0.0) / step) * step,
        std::ceil(std::min(m_nearBottom, height()) / step) * step);
}

void SteelPanelBackground::paintSurface(QPainter& painter, const QSizeF& size)
{
    QPainterPath plate;
    plate.addRoundedRect(QRectF(QPointF(), size), m_cornerRadius, m_cornerRadius);

    constexpr double textureOpacity = 0.4;
    paintBrushedSteel(painter, plate, size, textureOpacity);

    constexpr double edgeOpacity = 0.5;
    painter.strokePath(plate, QPen(Theme::faded(Theme::steelMid(), edgeOpacity), edgeWidth));
}

} // namespace wingbell
