#include "panels/controls/UndoKeyFilter.h"

#include <QKeyEvent>
#include <QQuickItem>

namespace wingbell {

void UndoKeyFilter::setWindow(QQuickWindow* window)
{
    if (m_window == window) {
        return;
    }
    if (m_window) {
        m_window->removeEventFilter(this);
    }
    m_window = window;
    if (m_window) {
        m_window->installEventFilter(this);
    }
    Q_EMIT windowChanged();
}

bool UndoKeyFilter::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyPress) {
        const auto& key = static_cast<const QKeyEvent&>(*event);
        // A text takes both keys also when it has nothing to do for them.
        if (key.matches(QKeySequence::Undo) && !textCan("canUndo")) {
            Q_EMIT undoPressed();
            return true;
        }
        if (key.matches(QKeySequence::Redo) && !textCan("canRedo")) {
            Q_EMIT redoPressed();
            return true;
        }
    }
    return QObject::eventFilter(watched, event);
}

bool UndoKeyFilter::textCan(const char* property) const
{
    const QQuickItem* const item = m_window->activeFocusItem();
    return item != nullptr && item->property(property).toBool();
}

} // namespace wingbell
