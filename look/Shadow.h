#pragma once

#include <QColor>
#include <QImage>
#include <QPainter>
#include <QPointF>
#include <QRectF>

#include <functional>

namespace wingbell {

/// A blurred copy of a shape's outline, behind or around it: a shadow or, without offset, a glow.
struct Shadow
{
    QColor color;   ///< with the shadow's opacity as its alpha
    double radius;  ///< of the blur, in points; the Gaussian it stands for has half of it as sigma
    QPointF offset; ///< in points

    /// How far the shadow reaches beyond its shape on each side, in points.
    [[nodiscard]] double reach() const;
};

/// Paints the shadow of what `paintShape` paints inside `bounds` (the shape's own bounds, in the
/// painter's coordinates). Only the shape's coverage counts, not its colours. Sharp at the
/// painter's device pixel ratio.
void paintShadow(
    QPainter& painter, const QRectF& bounds, const Shadow& shadow,
    const std::function<void(QPainter&)>& paintShape);

/// Blurs an Alpha8 image in place by three box passes a direction that together come close to a
/// Gaussian of `sigma` pixels. What is blurred past the image's edges is lost.
void blurAlpha(QImage& alpha, double sigma);

} // namespace wingbell
