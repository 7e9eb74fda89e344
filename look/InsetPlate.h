#pragma once

#include "look/PaintedSurface.h"

#include <QColor>

namespace wingbell {

/// A rounded plate whose outline is clipped to its own shape, as of glass set into steel. Its
/// edges, and outlines of a point and more, which lie beside the fill, are whole pixels on every
/// screen, which the toolkit's own rounded rectangles are not: at 125 % their lines are of
/// different widths and miss the corners.
class InsetPlate : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor fill MEMBER m_fill NOTIFY lookChanged)
    Q_PROPERTY(QColor outline MEMBER m_outline NOTIFY lookChanged)
    Q_PROPERTY(double outlineWidth MEMBER m_outlineWidth NOTIFY lookChanged)
    Q_PROPERTY(double cornerRadius MEMBER m_cornerRadius NOTIFY lookChanged)

public:
    explicit InsetPlate(QQuickItem* parent = nullptr);

Q_SIGNALS:
    void lookChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

private:
    QColor m_fill = Qt::black;
    QColor m_outline = Qt::transparent;
    double m_outlineWidth = 0.5; ///< in points: the inner half of a hairline centred on the edge
    double m_cornerRadius = 0.0; ///< in points
};

} // namespace wingbell
