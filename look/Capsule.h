#pragma once

#include "look/PaintedSurface.h"

#include <QColor>

namespace wingbell {

/// A pill that fills the item: a fill and, centred on its edge, an outline 1 point wide.
class Capsule : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor fill READ fill WRITE setFill NOTIFY fillChanged)
    Q_PROPERTY(QColor outline READ outline WRITE setOutline NOTIFY outlineChanged)

public:
    explicit Capsule(QQuickItem* parent = nullptr);

    [[nodiscard]] const QColor& fill() const { return m_fill; }
    void setFill(const QColor& fill);
    [[nodiscard]] const QColor& outline() const { return m_outline; }
    void setOutline(const QColor& outline);

Q_SIGNALS:
    void fillChanged();
    void outlineChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

private:
    QColor m_fill = Qt::transparent;
    QColor m_outline = Qt::transparent;
};

} // namespace wingbell
