#include "panels/controls/DebounceFilter.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QPointerEvent>
#include <QQuickWindow>
#include <QStyleHints>

#include <utility>

namespace wingbell {

namespace {

/// Physical keys are told apart by their codes, which synthetic events lack.
quint32 codeOf(const QKeyEvent& event)
{
    return event.nativeScanCode() != 0 ? event.nativeScanCode() : quint32(event.key());
}

bool isPressKey(const QKeyEvent& event)
{
    return event.key() == Qt::Key_Space || event.key() == Qt::Key_Return ||
           event.key() == Qt::Key_Enter;
}

bool movesFocus(const QKeyEvent& event)
{
    return event.key() == Qt::Key_Tab || event.key() == Qt::Key_Backtab;
}

bool takesText(const QQuickItem* item)
{
    return item != nullptr && item->flags().testFlag(QQuickItem::ItemAcceptsInputMethod);
}

} // namespace

bool isDoubleClick(quint64 first, quint64 second)
{
    const int interval = QGuiApplication::styleHints()->mouseDoubleClickInterval();
    return second - first < quint64(interval); // a time that goes back is a long time
}

void DebounceFilter::install(QQuickWindow& window)
{
    if (window.findChild<DebounceFilter*>(QString(), Qt::FindDirectChildrenOnly) == nullptr) {
        new DebounceFilter(window);
    }
}

DebounceFilter::DebounceFilter(QQuickWindow& window)
    : QObject(&window)
    , m_window(window)
{
    window.installEventFilter(this);
}

bool DebounceFilter::eventFilter(QObject* /*watched*/, QEvent* event)
{
    switch (event->type()) {
    case QEvent::KeyPress:
        return shouldDrop(static_cast<const QKeyEvent&>(*event));
    case QEvent::KeyRelease: {
        const auto& key = static_cast<const QKeyEvent&>(*event);
        m_release = {key.timestamp(), codeOf(key)};
        return false;
    }
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::MouseButtonRelease:
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
        return shouldDrop(static_cast<const QPointerEvent&>(*event));
    default:
        return false;
    }
}

bool DebounceFilter::isThere(const QQuickItem* item) const
{
    return item != nullptr && item->window() == &m_window && item->isVisible() && item->isEnabled();
}

/// X11 does not always say so, but gives a repeat's press the very time of the release before it.
bool DebounceFilter::isRepeat(const QKeyEvent& event) const
{
    const bool isAtRelease = event.timestamp() != 0 && event.timestamp() == m_release.time;
    return event.isAutoRepeat() || (isAtRelease && codeOf(event) == m_release.code);
}

bool DebounceFilter::shouldDropRepeat(const QKeyEvent& event) const
{
    const QQuickItem* const focus = m_window.activeFocusItem();
    const bool goesOn = focus == m_key.item && (!isPressKey(event) || takesText(focus));
    return !goesOn && !movesFocus(event);
}

bool DebounceFilter::shouldDrop(const QKeyEvent& event)
{
    if (isRepeat(event)) {
        return shouldDropRepeat(event);
    }
    QQuickItem* const focus = m_window.activeFocusItem();
    const bool presses = isPressKey(event) && !takesText(focus);
    const bool types = !event.text().isEmpty() && !movesFocus(event) && !isPressKey(event);
    const Key before = std::exchange(m_key, {focus, event.timestamp(), presses, types});
    if (!isPressKey(event) || !isDoubleClick(before.time, event.timestamp())) {
        return false;
    }
    const bool isTyped = before.types && before.item == focus && !takesText(focus);
    const bool hasGone = before.presses && !isThere(before.item);
    if (isTyped || hasGone) {
        m_key.item = nullptr;
        m_key.presses = true; // a third one is no better
        return true;
    }
    return false;
}

bool DebounceFilter::shouldDrop(const QPointerEvent& event)
{
    const QEventPoint& point = event.points().first();
    if (event.isBeginEvent() && event.type() != QEvent::MouseButtonDblClick) {
        m_isDroppingClick = hitsAnother(event);
    }
    if (!event.isEndEvent()) {
        return m_isDroppingClick;
    }
    if (std::exchange(m_isDroppingClick, false)) {
        return true;
    }
    m_click.reset();
    if (auto* const item = qobject_cast<QQuickItem*>(event.exclusiveGrabber(point))) {
        m_click = {item, point.globalPosition(), event.timestamp()};
    }
    return false;
}

/// Whether what the click before has reached is no longer under the pointer of this one.
bool DebounceFilter::hitsAnother(const QPointerEvent& event) const
{
    if (!m_click || !isDoubleClick(m_click->time, event.timestamp())) {
        return false;
    }
    const QEventPoint& point = event.points().first();
    const QPointF distance = point.globalPosition() - m_click->place;
    if (distance.manhattanLength() > QGuiApplication::styleHints()->mouseDoubleClickDistance()) {
        return false;
    }
    const QQuickItem* const item = m_click->item;
    return !isThere(item) || !item->contains(item->mapFromScene(point.scenePosition()));
}

} // namespace wingbell
