#pragma once

#include <QObject>
#include <QPointer>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QScreen>
#include <QSizeF>

namespace wingbell {

/// How much of a window the screen that it is on can show, without the desktop's own bars. A window
/// keeps its least size on any screen; what lies beyond the screen's edge cannot be pressed.
class ScreenRoom : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QQuickWindow* window READ window WRITE setWindow NOTIFY windowChanged)
    Q_PROPERTY(QSizeF available READ available NOTIFY availableChanged)

public:
    using QObject::QObject;

    [[nodiscard]] QQuickWindow* window() const { return m_window; }
    /// Follows that window from screen to screen; not owned.
    void setWindow(QQuickWindow* window);

    /// The screen's room for windows, in points.
    [[nodiscard]] QSizeF available() const;

    /// The extent to open with: `wanted`, or less on a screen with less room, but never below
    /// `least`.
    [[nodiscard]] static double opening(double wanted, double least, double available);
    /// The height to open with on the screen as it is now. Told once: a window that is open keeps
    /// its size, whatever becomes of its screen.
    [[nodiscard]] Q_INVOKABLE double openingHeight(double wanted, double least) const
    {
        return opening(wanted, least, available().height());
    }
    /// How much of a window's `extent` to lay its contents out in: all of it, but on a screen
    /// without room for even the `least` extent no more than the screen can show.
    [[nodiscard]] Q_INVOKABLE static double shown(double extent, double least, double available);

Q_SIGNALS:
    void windowChanged();
    void availableChanged();

private:
    void followScreen(QScreen* screen);

    QPointer<QQuickWindow> m_window;
    QPointer<QScreen> m_screen;
};

} // namespace wingbell
