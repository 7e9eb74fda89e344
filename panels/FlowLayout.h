#pragma once

#include "panels/FlowRows.h"

#include <QQuickItem>

namespace wingbell {

/// Lays its visible children out in wrapping rows (see FlowRows), each at its implicit size, within
/// its own width; its implicit height is what the rows need.
class FlowLayout : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(double spacing READ spacing WRITE setSpacing NOTIFY spacingChanged)

public:
    using QQuickItem::QQuickItem;

    /// The gap between neighbours and between rows, in points.
    [[nodiscard]] double spacing() const { return m_rows.spacing; }
    void setSpacing(double spacing);

Q_SIGNALS:
    void spacingChanged();

protected:
    void itemChange(ItemChange change, const ItemChangeData& data) override;
    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;
    void updatePolish() override;
    void componentComplete() override;

private:
    [[nodiscard]] QList<QQuickItem*> laidOutItems() const;
    void measure();

    FlowRows m_rows;
};

} // namespace wingbell
