#pragma once

#include "look/PaintedSurface.h"

namespace wingbell {

/// A rounded plate of brushed steel that fills the item.
class SteelPanelBackground : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(
        double cornerRadius READ cornerRadius WRITE setCornerRadius NOTIFY cornerRadiusChanged)

public:
    explicit SteelPanelBackground(QQuickItem* parent = nullptr);

    /// In points.
    [[nodiscard]] double cornerRadius() const { return m_cornerRadius; }
    void setCornerRadius(double radius);

Q_SIGNALS:
    void cornerRadiusChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

private:
    double m_cornerRadius = 0.0;
};

} // namespace wingbell
