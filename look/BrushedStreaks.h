#pragma once

#include "look/PaintedSurface.h"

namespace wingbell {

/// A texture of faint diagonal hairlines that fills the item, as on brushed metal, together with
/// the steel that it lies on, darker from the top edge to the bottom edge: apart, both would be
/// rounded.
class BrushedStreaks : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(double streakOpacity MEMBER m_streakOpacity NOTIFY streakOpacityChanged)

public:
    explicit BrushedStreaks(QQuickItem* parent = nullptr);

Q_SIGNALS:
    void streakOpacityChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

private:
    double m_streakOpacity = 1.0; ///< of all hairlines together, from 0 to 1
};

} // namespace wingbell
