#include "look/PaintedSurface.h"

#include <QQuickPaintedItem>
#include <QQuickWindow>

#include <cmath>
#include <limits>

namespace wingbell {

namespace {

/// The whole number of points from `length` on, and not far from it, that is nearest to a whole
/// number of pixels. A picture of another size is stretched onto the screen, and no longer sharp.
double lengthInWholePixels(double length, double pixelsAPoint)
{
    constexpr int farthest = 20; // as far as the scales of desktops need, which are twentieths
    constexpr double wholeEnough = 0.01;
    double best = std::ceil(length);
    double leastRest = std::numeric_limits<double>::infinity();
    for (int more = 0; more < farthest && leastRest > wholeEnough; ++more) {
        const double candidate = std::ceil(length) + more;
        const double pixels = candidate * pixelsAPoint;
        const double rest = std::abs(pixels - std::round(pixels));
        if (rest < leastRest) {
            best = candidate;
            leastRest = rest;
        }
    }
    return best;
}

} // namespace

class PaintedSurface::Picture : public QQuickPaintedItem
{
public:
    explicit Picture(PaintedSurface* surface)
        : QQuickPaintedItem(surface)
        , m_surface(surface)
    {
        constexpr double belowOtherChildren = -1.0;
        setZ(belowOtherChildren);
        setAntialiasing(true);
    }

    void paint(QPainter* painter) override
    {
        painter->setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
        painter->translate(m_surface->m_reach, m_surface->m_reach);
        m_surface->paintSurface(*painter, m_surface->size());
    }

private:
    PaintedSurface* m_surface;
};

PaintedSurface::PaintedSurface(QQuickItem* parent)
    : QQuickItem(parent)
    , m_picture(new Picture(this))
{
}

void PaintedSurface::setReach(double reach)
{
    const double whole = std::ceil(reach);
    if (m_reach == whole) {
        return;
    }
    m_reach = whole;
    fitPicture();
}

void PaintedSurface::repaint()
{
    m_picture->update();
}

void PaintedSurface::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry)
{
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    if (newGeometry.size() != oldGeometry.size()) {
        fitPicture();
    }
}

void PaintedSurface::itemChange(ItemChange change, const ItemChangeData& data)
{
    QQuickItem::itemChange(change, data);
    if (change == ItemSceneChange || change == ItemDevicePixelRatioHasChanged) {
        fitPicture();
    }
}

void PaintedSurface::fitPicture()
{
    const double pixelsAPoint = window() ? window()->effectiveDevicePixelRatio() : 1.0;
    m_picture->setPosition(QPointF(-m_reach, -m_reach));
    m_picture->setSize(
        {lengthInWholePixels(width() + 2.0 * m_reach, pixelsAPoint),
         lengthInWholePixels(height() + 2.0 * m_reach, pixelsAPoint)});
    m_picture->update();
}

} // namespace wingbell
