#pragma once

#include "look/PaintedSurface.h"

#include <QColor>

namespace wingbell {

/// A rounded plate whose outline is clipped to its own shape, as of glass set into steel.
class InsetPlate : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor fill MEMBER m_fill NOTIFY lookChanged)
    Q_PROPERTY(QColor outline MEMBER m_outline NOTIFY lookChanged)
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
    double m_cornerRadius = 0.0; ///< in points
};

} // namespace wingbell
