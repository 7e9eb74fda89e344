#pragma once

#include "look/PaintedSurface.h"

namespace wingbell {

/// A texture of faint diagonal hairlines that fills the item, as on brushed metal.
class BrushedStreaks : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT

public:
    using PaintedSurface::PaintedSurface;

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;
};

} // namespace wingbell
