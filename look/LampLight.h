#pragma once

#include "look/PaintedSurface.h"

#include <QColor>

namespace wingbell {

/// A round lamp of one colour with a glow around it and a steel ring on it; static.
class LampLight : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
    Q_PROPERTY(double glowRadius READ glowRadius WRITE setGlowRadius NOTIFY glowRadiusChanged)

public:
    explicit LampLight(QQuickItem* parent = nullptr);

    [[nodiscard]] const QColor& color() const { return m_color; }
    void setColor(const QColor& color);
    /// Of the glow's blur, in points.
    [[nodiscard]] double glowRadius() const { return m_glowRadius; }
    void setGlowRadius(double radius);

Q_SIGNALS:
    void colorChanged();
    void glowRadiusChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

private:
    QColor m_color = Qt::white;
    double m_glowRadius = 0.0;
};

} // namespace wingbell
