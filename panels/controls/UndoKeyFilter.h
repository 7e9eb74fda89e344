#pragma once

#include <QObject>
#include <QPointer>
#include <QQmlEngine>
#include <QQuickWindow>

namespace wingbell {

/// Takes the keys for undo and redo wherever the focus is in a window, unless it is in a text that
/// has something of its own to undo or redo.
class UndoKeyFilter : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QQuickWindow* window READ window WRITE setWindow NOTIFY windowChanged)

public:
    using QObject::QObject;

    [[nodiscard]] QQuickWindow* window() const { return m_window; }
    /// Filters that window's keys from now on, or none; not owned.
    void setWindow(QQuickWindow* window);

    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    void windowChanged();
    void undoPressed();
    void redoPressed();

private:
    [[nodiscard]] bool textCan(const char* property) const;

    QPointer<QQuickWindow> m_window;
};

} // namespace wingbell
