#include "look/PaintedSurface.h"

#include <QImage>
#include <QPaintDevice>
#include <QQuickWindow>
#include <QSGImageNode>

#include <cmath>

namespace wingbell {

namespace {

/// The scale as the window's painter takes it, a little rounded: a picture made for another is
/// stretched onto the screen, and no longer sharp.
double scaleOfPainters(double devicePixelRatio)
{
    const double parts = QPaintDevice::devicePixelRatioFScale();
    return std::floor(devicePixelRatio * parts) / parts;
}

} // namespace

PaintedSurface::PaintedSurface(QQuickItem* parent)
    : QQuickItem(parent)
{
    setFlag(ItemHasContents);
}

void PaintedSurface::setReach(double reach)
{
    const double whole = std::ceil(reach);
    if (m_reach == whole) {
        return;
    }
    m_reach = whole;
    update();
}

void PaintedSurface::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry)
{
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    if (newGeometry.size() != oldGeometry.size()) {
        update();
    }
}

void PaintedSurface::itemChange(ItemChange change, const ItemChangeData& data)
{
    QQuickItem::itemChange(change, data);
    if (change == ItemDevicePixelRatioHasChanged) {
        update();
    }
}

QSGNode* PaintedSurface::updatePaintNode(QSGNode* old, UpdatePaintNodeData* /*data*/)
{
    const QRectF area = boundingRect().adjusted(-m_reach, -m_reach, m_reach, m_reach);
    const double scale = scaleOfPainters(window()->effectiveDevicePixelRatio());
    // Whole pixels, and the picture shown as large as they are: it is never stretched.
    constexpr double hardlyMore = 0.01; // what multiplying adds
    const QSize pixels(
        static_cast<int>(std::ceil(area.width() * scale - hardlyMore)),
        static_cast<int>(std::ceil(area.height() * scale - hardlyMore)));
    if (pixels.isEmpty()) {
        delete old;
        return nullptr;
    }
    QImage picture(pixels, QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    painter.scale(scale, scale);
    painter.translate(-area.topLeft());
    paintSurface(painter, size());
    painter.end();

    auto* node = static_cast<QSGImageNode*>(old);
    if (node == nullptr) {
        node = window()->createImageNode();
        node->setOwnsTexture(true);
        node->setFiltering(QSGTexture::Linear);
    }
    node->setTexture(
        window()->createTextureFromImage(picture, QQuickWindow::TextureHasAlphaChannel));
    node->setSourceRect(QRectF(QPointF(), QSizeF(pixels)));
    node->setRect(QRectF(area.topLeft(), QSizeF(pixels) / scale));
    return node;
}

} // namespace wingbell
