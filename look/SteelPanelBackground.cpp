#include "look/SteelPanelBackground.h"

#include "look/Streaks.h"
#include "look/Theme.h"

#include <QPainterPath>

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
