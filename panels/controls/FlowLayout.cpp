#include "panels/controls/FlowLayout.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace wingbell {

QSizeF
FlowLayout::sizeThatFits(std::optional<double> proposedWidth, const QList<QSizeF>& items) const
{
    const double maxWidth = proposedWidth.value_or(std::numeric_limits<double>::infinity());
    double x = 0.0;
    double y = 0.0;
    double rowHeight = 0.0;
    for (const QSizeF& item : items) {
        if (x > 0.0 && x + item.width() > maxWidth) {
            y += rowHeight + spacing;
            x = 0.0;
            rowHeight = 0.0;
        }
        x += item.width() + spacing;
        rowHeight = std::max(rowHeight, item.height());
    }
    const bool takesProposal = proposedWidth && std::isfinite(*proposedWidth);
    return {takesProposal ? *proposedWidth : x, y + rowHeight};
}

QList<QPointF> FlowLayout::placeSubviews(const QRectF& bounds, const QList<QSizeF>& items) const
{
    const double minX = bounds.left();
    const double maxX = bounds.right();
    double x = minX;
    double y = bounds.top();
    double rowHeight = 0.0;
    QList<QPointF> places;
    places.reserve(items.size());
    for (const QSizeF& item : items) {
        if (x + item.width() > maxX && x > minX) {
            x = minX;
            y += rowHeight + spacing;
            rowHeight = 0.0;
        }
        places.append({x, y});
        x += item.width() + spacing;
        rowHeight = std::max(rowHeight, item.height());
    }
    return places;
}

} // namespace wingbell
