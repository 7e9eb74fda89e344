#pragma once

#include <QList>
#include <QPointF>
#include <QRectF>
#include <QSizeF>

#include <optional>

namespace wingbell {

/// Lines items of given ideal sizes up from left to right and wraps them onto new rows where the
/// width runs out. One gap serves between neighbours and between rows. Rows are left-aligned, items
/// in a row top-aligned. The first item of a row never wraps, however wide it is; an item whose
/// right edge lies exactly on the limit stays. All in points.
struct FlowLayout
{
    double spacing = 0.0;

    /// The size needed for the items within `proposedWidth`, or in one row without a proposal. A
    /// finite proposed width is reported as it is; otherwise the width is the sum of the items'
    /// widths, each with one spacing behind it, the last one too: that is on purpose.
    [[nodiscard]] QSizeF
    sizeThatFits(std::optional<double> proposedWidth, const QList<QSizeF>& items) const;

    /// The top left corner of each item in `bounds`, in their order; rows run on below the bounds.
    [[nodiscard]] QList<QPointF>
    placeSubviews(const QRectF& bounds, const QList<QSizeF>& items) const;
};

} // namespace wingbell
