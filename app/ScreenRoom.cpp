#include "app/ScreenRoom.h"

#include <QGuiApplication>

#include <algorithm>

namespace wingbell {

void ScreenRoom::setWindow(QQuickWindow* window)
{
    if (m_window == window) {
        return;
    }
    if (m_window) {
        disconnect(m_window, nullptr, this, nullptr);
    }
    m_window = window;
    if (m_window) {
        connect(m_window, &QWindow::screenChanged, this, &ScreenRoom::followScreen);
    }
    followScreen(m_window ? m_window->screen() : nullptr);
    Q_EMIT windowChanged();
}

void ScreenRoom::followScreen(QScreen* screen)
{
    if (m_screen) {
        disconnect(m_screen, nullptr, this, nullptr);
    }
    m_screen = screen;
    if (m_screen) {
        connect(m_screen, &QScreen::availableGeometryChanged, this, &ScreenRoom::availableChanged);
    }
    Q_EMIT availableChanged();
}

QSizeF ScreenRoom::available() const
{
    const QScreen* const screen = m_screen ? m_screen.get() : QGuiApplication::primaryScreen();
    return screen ? QSizeF(screen->availableSize()) : QSizeF();
}

double ScreenRoom::opening(double wanted, double least, double available)
{
    return std::max(least, std::min(wanted, available));
}

double ScreenRoom::shown(double extent, double least, double available)
{
    return available > 0.0 && available < least ? std::min(extent, available) : extent;
}

} // namespace wingbell
