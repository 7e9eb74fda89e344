#include "panels/PressArea.h"

#include <QCursor>
#include <QKeyEvent>
#include <QMouseEvent>

#include <utility>

namespace wingbell {

PressArea::PressArea(QQuickItem* parent)
    : QQuickItem(parent)
{
    setAcceptedMouseButtons(Qt::LeftButton);
    setCursor(Qt::PointingHandCursor);
}

void PressArea::press()
{
    if (isEnabled()) {
        Q_EMIT clicked();
    }
}

void PressArea::mousePressEvent(QMouseEvent* event)
{
    m_isReachedByPointer = true;
    setPressed(true);
    forceActiveFocus(Qt::MouseFocusReason);
    showFocus();
    event->accept();
}

void PressArea::mouseMoveEvent(QMouseEvent* event)
{
    setPressed(contains(event->position()));
}

void PressArea::mouseReleaseEvent(QMouseEvent* event)
{
    setPressed(false);
    if (contains(event->position())) {
        press();
    }
}

void PressArea::mouseDoubleClickEvent(QMouseEvent* event)
{
    mousePressEvent(event); // two quick presses are two presses
}

void PressArea::mouseUngrabEvent()
{
    setPressed(false);
}

void PressArea::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Space:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (!event->isAutoRepeat()) {
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
    if (change == ItemActiveFocusHasChanged) {
        // What is disabled for a while gets its focus back as it was.
        if (!data.boolValue && isEnabled()) {
            m_isReachedByPointer = false;
        }
        showFocus();
    } else if (change == ItemEnabledHasChanged) {
        setCursor(data.boolValue ? Qt::PointingHandCursor : Qt::ArrowCursor);
    }
}

void PressArea::setPressed(bool pressed)
{
    if (std::exchange(m_isPressed, pressed) != pressed) {
        Q_EMIT pressedChanged();
    }
}

void PressArea::showFocus()
{
    const bool shows = hasActiveFocus() && !m_isReachedByPointer;
    if (std::exchange(m_showsFocus, shows) != shows) {
        Q_EMIT showsFocusChanged();
    }
}

} // namespace wingbell
