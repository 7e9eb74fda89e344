#include "app/ScreenRoom.h"

#include <QGuiApplication>

#include <algorithm>

namespace wingbell {

namespace {

/// What the bars of a desktop take of a screen's width or height, as a rule and in points.
constexpr double usualBars = 64.0;

ScreenRoom::Desktop thisDesktop()
{
    const bool isWayland = QGuiApplication::platformName().startsWith(QStringLiteral("wayland"));
    return isWayland ? ScreenRoom::Desktop::Wayland : ScreenRoom::Desktop::Open;
}

double besideBars(ScreenRoom::Desktop desktop, double available)
{
    return desktop == ScreenRoom::Desktop::Wayland ? std::max(1.0, available - usualBars)
                                                   : available;
}

} // namespace

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

double ScreenRoom::held(Desktop desktop, double least, double available)
{
    const bool isBorne = desktop == Desktop::Open || available <= 0.0;
    return isBorne ? least : std::min(least, besideBars(desktop, available));
}

double ScreenRoom::held(double least, double available)
{
    return held(thisDesktop(), least, available);
}

double ScreenRoom::opening(Desktop desktop, double wanted, double least, double available)
{
    return std::max(
        held(desktop, least, available), std::min(wanted, besideBars(desktop, available)));
}

double ScreenRoom::openingWidth(double wanted, double least) const
{
    return opening(thisDesktop(), wanted, least, available().width());
}

double ScreenRoom::openingHeight(double wanted, double least) const
{
    return opening(thisDesktop(), wanted, least, available().height());
}

double ScreenRoom::shown(double extent, double least, double available)
{
    return available > 0.0 && available < least ? std::min(extent, available) : extent;
}

} // namespace wingbell
