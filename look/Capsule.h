#pragma once

#include "look/PaintedSurface.h"

#include <QColor>

namespace wingbell {

/// A pill that fills the item: a fill and, centred on its edge, an outline 1 point wide.
class Capsule : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor fill MEMBER m_fill NOTIFY lookChanged)
    Q_PROPERTY(QColor outline MEMBER m_outline NOTIFY lookChanged)

public:
    explicit Capsule(QQuickItem* parent = nullptr);

Q_SIGNALS:
    void lookChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

private:
    QColor m_fill = Qt::transparent;
    QColor m_outline = Qt::transparent;
};

} // namespace wingbell
