#include "app/AvailableGeometry.h"

#include <QGuiApplication>

#include <algorithm>

namespace wingbell {

namespace {

/// What the bars of a desktop take of a screen's width or height, as a rule and in points.
constexpr double usualBars = 64.0;

AvailableGeometry::Desktop thisDesktop()
{
    const bool isWayland = QGuiApplication::platformName().startsWith(QStringLiteral("wayland"));
    return isWayland ? AvailableGeometry::Desktop::Wayland : AvailableGeometry::Desktop::Open;
}

double besideBars(AvailableGeometry::Desktop desktop, double available)
{
    return desktop == AvailableGeometry::Desktop::Wayland ? std::max(1.0, available - usualBars)
                                                          : available;
}

} // namespace

void AvailableGeometry::setWindow(QQuickWindow* window)
{
    if (m_window == window) {
        return;
    }
    if (m_window) {
        disconnect(m_window, nullptr, this, nullptr);
    }
    m_window = window;
    if (m_window) {
        connect(m_window, &QWindow::screenChanged, this, &AvailableGeometry::followScreen);
    }
    followScreen(m_window ? m_window->screen() : nullptr);
    Q_EMIT windowChanged();
}

void AvailableGeometry::followScreen(QScreen* screen)
{
    if (m_screen) {
        disconnect(m_screen, nullptr, this, nullptr);
    }
    m_screen = screen;
    if (m_screen) {
        connect(
            m_screen, &QScreen::availableGeometryChanged, this,
            &AvailableGeometry::availableChanged);
    }
    Q_EMIT availableChanged();
}

QSizeF AvailableGeometry::available() const
{
    const QScreen* const screen = m_screen ? m_screen.get() : QGuiApplication::primaryScreen();
    return screen ? QSizeF(screen->availableSize()) : QSizeF();
}

double AvailableGeometry::held(Desktop desktop, double least, double available)
{
    const bool isBorne = desktop == Desktop::Open || available <= 0.0;
    return isBorne ? least : std::min(least, besideBars(desktop, available));
}

double AvailableGeometry::held(double least, double available)
{
    return held(thisDesktop(), least, available);
}

double AvailableGeometry::opening(Desktop desktop, double wanted, double least, double available)
{
    return std::max(
        held(desktop, least, available), std::min(wanted, besideBars(desktop, available)));
}

double AvailableGeometry::openingWidth(double wanted, double least) const
{
    return opening(thisDesktop(), wanted, least, available().width());
}

double AvailableGeometry::openingHeight(double wanted, double least) const
{
    return opening(thisDesktop(), wanted, least, available().height());
}

double AvailableGeometry::shown(double extent, double least, double available)
{
    return available > 0.0 && available < least ? std::min(extent, available) : extent;
}

} // namespace wingbell
