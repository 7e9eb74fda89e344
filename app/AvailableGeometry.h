#pragma once

#include <QObject>
#include <QPointer>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QScreen>
#include <QSizeF>

#include <cstdint>

namespace wingbell {

/// How much of a window the screen that it is on can show, without the desktop's own bars. A window
/// keeps its least size on any screen; what lies beyond the screen's edge cannot be pressed.
///
/// Not on Wayland: there a desktop may end a program whose maximised window is larger than the room
/// that was given to it, and tells neither the window's place nor what its bars take. So a window
/// asks for no more than is left beside bars of the usual thickness.
class AvailableGeometry : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QQuickWindow* window READ window WRITE setWindow NOTIFY windowChanged)
    Q_PROPERTY(QSizeF available READ available NOTIFY availableChanged)

public:
    /// What a desktop tells of its bars, and whether it bears a window that is too large.
    enum class Desktop : std::uint8_t {
        Open, ///< It tells them, and bears it.
        Wayland,
    };

    using QObject::QObject;

    [[nodiscard]] QQuickWindow* window() const { return m_window; }
    /// Follows that window from screen to screen; not owned.
    void setWindow(QQuickWindow* window);

    /// The screen's room for windows, in points.
    [[nodiscard]] QSizeF available() const;

    /// The least extent to hold a window to that needs `least`, on a screen with that much room; in
    /// points, as are all extents here.
    [[nodiscard]] static double held(Desktop desktop, double least, double available);
    /// The same on this desktop.
    [[nodiscard]] Q_INVOKABLE static double held(double least, double available);
    /// The extent to open with: `wanted`, or less on a screen with less room, but never below what
    /// the window is held to.
    [[nodiscard]] static double
    opening(Desktop desktop, double wanted, double least, double available);
    /// The width to open with on the screen as it is now. Told once, like the height: a window that
    /// is open keeps its size, whatever becomes of its screen.
    [[nodiscard]] Q_INVOKABLE double openingWidth(double wanted, double least) const;
    [[nodiscard]] Q_INVOKABLE double openingHeight(double wanted, double least) const;
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
