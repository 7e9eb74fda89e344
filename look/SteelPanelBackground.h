#pragma once

#include "look/PaintedSurface.h"

#include <limits>

namespace wingbell {

/// A rounded plate of brushed steel that fills the item. Of a plate much higher than a screen only
/// the part that is near what is seen need be painted.
class SteelPanelBackground : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(
        double cornerRadius READ cornerRadius WRITE setCornerRadius NOTIFY cornerRadiusChanged)
    Q_PROPERTY(double nearTop READ nearTop WRITE setNearTop NOTIFY nearChanged)
    Q_PROPERTY(double nearBottom READ nearBottom WRITE setNearBottom NOTIFY nearChanged)

public:
    explicit SteelPanelBackground(QQuickItem* parent = nullptr);

    /// In points.
    [[nodiscard]] double cornerRadius() const { return m_cornerRadius; }
    void setCornerRadius(double radius);
    /// Between which heights the plate is to be there, in points; everywhere to begin with.
    [[nodiscard]] double nearTop() const { return m_nearTop; }
    void setNearTop(double top);
    [[nodiscard]] double nearBottom() const { return m_nearBottom; }
    void setNearBottom(double bottom);

Q_SIGNALS:
    void cornerRadiusChanged();
    void nearChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;

private:
    void takeNear();

    double m_cornerRadius = 0.0;
    double m_nearTop = -std::numeric_limits<double>::infinity();
    double m_nearBottom = std::numeric_limits<double>::infinity();
};

} // namespace wingbell
