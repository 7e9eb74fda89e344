#pragma once

#include "look/PaintedSurface.h"

namespace wingbell {

/// Paints a round bolt head with a hexagon, lit from the top left, into the square of `diameter`
/// points whose top left corner is `topLeft`, with its shadow around it.
void paintHexBolt(QPainter& painter, const QPointF& topLeft, double diameter);

/// A round bolt head with a hexagon and its shadow; a decoration that no screen reader tells.
class HexBolt : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(double diameter READ diameter WRITE setDiameter NOTIFY diameterChanged)

public:
    explicit HexBolt(QQuickItem* parent = nullptr);

    /// Size of the head in points.
    [[nodiscard]] double diameter() const { return implicitWidth(); }
    void setDiameter(double diameter);

Q_SIGNALS:
    void diameterChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;
};

} // namespace wingbell
