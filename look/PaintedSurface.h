#pragma once

#include <QPainter>
#include <QQuickItem>
#include <QSizeF>

namespace wingbell {

/// An item painted in C++ with antialiasing, whose picture may reach beyond its geometry: shadows
/// and centred outlines do. Painted in the screen's own pixels when it is new, resized or told to
/// (update()); kept as a picture between. Children of the item lie over the picture.
class PaintedSurface : public QQuickItem
{
    Q_OBJECT
    QML_ANONYMOUS

public:
    explicit PaintedSurface(QQuickItem* parent = nullptr);

protected:
    /// Paints the item of that size with its top left corner at the origin. May be called on the
    /// rendering thread while the user-interface thread stands still.
    virtual void paintSurface(QPainter& painter, const QSizeF& size) = 0;

    /// How far the picture reaches beyond the geometry, in points, rounded up to whole ones.
    void setReach(double reach);

    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;
    void itemChange(ItemChange change, const ItemChangeData& data) override;
    QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData* data) override;

private:
    double m_reach = 0.0;
};

} // namespace wingbell
