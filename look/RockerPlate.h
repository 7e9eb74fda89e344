#pragma once

#include "look/PaintedSurface.h"

#include <QColor>

namespace wingbell {

/// The surfaces of a two-sided switch: a steel housing with its shadow and a face of two halves,
/// one of them lit. Its labels are its user's.
class RockerPlate : public wingbell::PaintedSurface
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool isOn READ isOn WRITE setIsOn NOTIFY isOnChanged)

public:
    explicit RockerPlate(QQuickItem* parent = nullptr);

    /// Which half is lit: the right one, red, when on; the left one, green, when off.
    [[nodiscard]] bool isOn() const { return m_isOn; }
    void setIsOn(bool on);

Q_SIGNALS:
    void isOnChanged();

protected:
    void paintSurface(QPainter& painter, const QSizeF& size) override;

private:
    bool m_isOn = false;
};

} // namespace wingbell
