#include "look/PaintedSurface.h"

#include <QQuickPaintedItem>

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

void PaintedSurface::fitPicture()
{
    m_picture->setPosition(QPointF(-m_reach, -m_reach));
    m_picture->setSize(size() + QSizeF(2.0 * m_reach, 2.0 * m_reach));
    m_picture->update();
}

} // namespace wingbell
