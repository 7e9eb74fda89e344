#include "panels/FlowLayout.h"

namespace wingbell {

namespace {

QList<QSizeF> idealSizes(const QList<QQuickItem*>& items)
{
    QList<QSizeF> sizes;
    sizes.reserve(items.size());
    for (const QQuickItem* const item : items) {
        sizes.append({item->implicitWidth(), item->implicitHeight()});
    }
    return sizes;
}

} // namespace

void FlowLayout::setSpacing(double spacing)
{
    if (m_rows.spacing == spacing) {
        return;
    }
    m_rows.spacing = spacing;
    polish();
    Q_EMIT spacingChanged();
}

QList<QQuickItem*> FlowLayout::laidOutItems() const
{
    QList<QQuickItem*> items = childItems();
    items.removeIf([](const QQuickItem* item) {
        return !item->isVisible() || item->inherits("QQuickRepeater");
    });
    return items;
}

void FlowLayout::itemChange(ItemChange change, const ItemChangeData& data)
{
    QQuickItem::itemChange(change, data);
    if (change == ItemChildAddedChange) {
        connect(data.item, &QQuickItem::implicitWidthChanged, this, &FlowLayout::polish);
        connect(data.item, &QQuickItem::implicitHeightChanged, this, &FlowLayout::polish);
        connect(data.item, &QQuickItem::visibleChanged, this, &FlowLayout::polish);
        polish();
    } else if (change == ItemChildRemovedChange) {
        disconnect(data.item, nullptr, this, nullptr);
        polish();
    }
}

void FlowLayout::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry)
{
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    if (newGeometry.width() != oldGeometry.width() && isComponentComplete()) {
        measure();
        polish();
    }
}

void FlowLayout::componentComplete()
{
    QQuickItem::componentComplete();
    measure();
}

void FlowLayout::measure()
{
    setImplicitHeight(m_rows.sizeThatFits(width(), idealSizes(laidOutItems())).height());
}

void FlowLayout::updatePolish()
{
    measure();
    const QList<QQuickItem*> items = laidOutItems();
    const QList<QSizeF> sizes = idealSizes(items);
    const QList<QPointF> places = m_rows.placeSubviews(boundingRect(), sizes);
    for (qsizetype index = 0; index < items.size(); ++index) {
        items.at(index)->setSize(sizes.at(index));
        items.at(index)->setPosition(places.at(index));
    }
}

} // namespace wingbell
