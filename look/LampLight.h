#pragma once

#include "look/PaintedSurface.h"

#include <QColor>

namespace wingbell {

/// A round lamp of one colour with a glow around it and a steel ring on it; static.
class LampLight : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color MEMBER m_color NOTIFY lookChanged)
    Q_PROPERTY(double glowRadius MEMBER m_glowRadius NOTIFY lookChanged)

public:
    explicit LampLight(QQuickItem* parent = nullptr);

Q_SIGNALS:
    void lookChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

private:
    QColor m_color = Qt::white;
    double m_glowRadius = 0.0; ///< of the blur, in points
};

} // namespace wingbell
