#pragma once

#include "look/PaintedSurface.h"

namespace wingbell {

/// A strip of steel with a gold line along its top and a bolt at each end; it casts a shadow
/// downwards. As high as its user makes it.
class SteelTrim : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT

public:
    explicit SteelTrim(QQuickItem* parent = nullptr);

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;
};

} // namespace wingbell
