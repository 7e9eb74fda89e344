#include "panels/controls/PressArea.h"

#include "panels/controls/DebounceFilter.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QQuickWindow>

#include <algorithm>
#include <utility>

namespace wingbell {

PressArea::PressArea(QQuickItem* parent)
    : QQuickItem(parent)
{
    setAcceptedMouseButtons(Qt::LeftButton);
}

void PressArea::setPlace(const QRectF& place)
{
    setPosition(place.topLeft());
    setSize(place.size());
}

void PressArea::press()
{
    if (isEnabled()) {
        Q_EMIT clicked();
    }
}

void PressArea::cancel()
{
    m_isHeld = false;
    setPressed(false);
}

bool PressArea::contains(const QPointF& point) const
{
    constexpr double minExtent = 24.0;
    const double atSides = std::max(0.0, (minExtent - width()) / 2.0);
    const double aboveAndBelow = std::max(0.0, (minExtent - height()) / 2.0);
    return boundingRect()
        .adjusted(-atSides, -aboveAndBelow, atSides, aboveAndBelow)
        .contains(point);
}

void PressArea::mousePressEvent(QMouseEvent* event)
{
    m_isHeld = !isBounce(event->timestamp());
    setPressed(m_isHeld);
}

void PressArea::mouseMoveEvent(QMouseEvent* event)
{
    setPressed(m_isHeld && contains(event->position()));
}

void PressArea::mouseReleaseEvent(QMouseEvent* event)
{
    const bool isMeant = m_isHeld && contains(event->position());
    cancel();
    if (isMeant) {
        press();
    }
}

void PressArea::mouseDoubleClickEvent(QMouseEvent* /*event*/)
{
    // It has come as a press already: two quick presses are two presses.
}

void PressArea::mouseUngrabEvent()
{
    cancel();
}

void PressArea::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Space:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (!isBounce(event->timestamp())) {
            press();
        }
        return;
    default:
        QQuickItem::keyPressEvent(event);
    }
}

void PressArea::itemChange(ItemChange change, const ItemChangeData& data)
{
    QQuickItem::itemChange(change, data);
    if (change == ItemSceneChange && data.window != nullptr) {
        DebounceFilter::install(*data.window);
    }
}

void PressArea::geometryChange(const QRectF& place, const QRectF& before)
{
    QQuickItem::geometryChange(place, before);
    Q_EMIT placeChanged();
}

bool PressArea::isBounce(quint64 time)
{
    const std::optional<quint64> before = std::exchange(m_before, time);
    return m_isDebounced && before && isDoubleClick(*before, time);
}

void PressArea::setPressed(bool pressed)
{
    if (std::exchange(m_isPressed, pressed) != pressed) {
        Q_EMIT pressedChanged();
    }
}

} // namespace wingbell
