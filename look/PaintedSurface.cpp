#include "look/PaintedSurface.h"

#include <QQuickPaintedItem>

#include <algorithm>
#include <cmath>

namespace wingbell {

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
        painter->translate(-position());
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

void PaintedSurface::paintOnly(double top, double bottom)
{
    if (m_top == top && m_bottom == bottom) {
        return;
    }
    m_top = top;
    m_bottom = bottom;
    fitPicture();
}

QRectF PaintedSurface::painted() const
{
    const double top = std::clamp(m_top, 0.0, height());
    return {0.0, top, width(), std::clamp(m_bottom, top, height()) - top};
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

void PaintedSurface::fitPicture()
{
    const QRectF all = painted().adjusted(-m_reach, -m_reach, m_reach, m_reach);
    m_picture->setPosition(all.topLeft());
    m_picture->setSize(all.size());
    m_picture->update();
}

} // namespace wingbell
