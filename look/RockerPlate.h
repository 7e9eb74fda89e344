#pragma once

#include "look/PaintedSurface.h"

#include <QColor>

namespace wingbell {

/// A two-sided switch: a steel housing with its shadow and a face of two halves with a label each,
/// one of them lit. One picture, so that an opacity is that of the whole switch.
class RockerPlate : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool isOn MEMBER m_isOn NOTIFY lookChanged)
    Q_PROPERTY(QString stopLabel MEMBER m_stopLabel NOTIFY lookChanged)
    Q_PROPERTY(QString startLabel MEMBER m_startLabel NOTIFY lookChanged)

public:
    explicit RockerPlate(QQuickItem* parent = nullptr);

    /// Where the label of the half for that state is: in the middle of its half, and made smaller
    /// where it is too long for it.
    [[nodiscard]] QRectF labelPlace(bool on) const;

Q_SIGNALS:
    void lookChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

private:
    [[nodiscard]] QRectF face() const;
    [[nodiscard]] QRectF half(bool on) const;
    void paintHalf(QPainter& painter, bool on) const;

    bool m_isOn = false; ///< the right half is lit, red; otherwise the left one, green
    QString m_stopLabel;
    QString m_startLabel;
};

} // namespace wingbell
