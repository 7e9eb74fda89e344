#include "panels/TabWatch.h"

#include <QKeyEvent>

namespace wingbell {

void TabWatch::setWindow(QQuickWindow* window)
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

bool TabWatch::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<const QKeyEvent*>(event)->key();
        if (key == Qt::Key_Tab || key == Qt::Key_Backtab) {
            Q_EMIT aboutToMove();
        }
    }
    return QObject::eventFilter(watched, event);
}

} // namespace wingbell
