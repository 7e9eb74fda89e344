#pragma once

#include <QObject>
#include <QPointer>
#include <QQmlEngine>
#include <QQuickWindow>

namespace wingbell {

/// Tells that Tab or its way back is about to move the keyboard's focus in a window, before it
/// does.
class TabWatch : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QQuickWindow* window READ window WRITE setWindow NOTIFY windowChanged)

public:
    using QObject::QObject;

    [[nodiscard]] QQuickWindow* window() const { return m_window; }
    /// Watches that window from now on, or none; not owned.
    void setWindow(QQuickWindow* window);

    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    void windowChanged();
    void aboutToMove();

private:
    QPointer<QQuickWindow> m_window;
};

} // namespace wingbell
