#include "desktop/SleepServices.h"

namespace wingbell {

const std::vector<SleepService>& sleepServices()
{
    static const QString us = QStringLiteral("WingbellControl");
    static const std::vector<SleepService> services = {
        // GNOME, Cinnamon, MATE. 4 forbids suspending alone; 8 would keep the display lit.
        {
            .bus = BusConnection::Bus::Session,
            .name = QStringLiteral("org.gnome.SessionManager"),
            .path = QStringLiteral("/org/gnome/SessionManager"),
            .interface = QStringLiteral("org.gnome.SessionManager"),
            .arguments = [](const QString& reason) -> std::vector<BusValue> {
                constexpr quint32 noWindow = 0;
                constexpr quint32 suspendingOnly = 4;
                return {us, noWindow, reason, suspendingOnly};
            },
            .releaseMethod = QStringLiteral("Uninhibit"),
        },
        // KDE, XFCE. XFCE's keeps the display lit as well; but it suspends even while the login
        // manager's lock is held, and a lit display is better than a computer that sleeps.
        {
            .bus = BusConnection::Bus::Session,
            .name = QStringLiteral("org.freedesktop.PowerManagement"),
            .path = QStringLiteral("/org/freedesktop/PowerManagement/Inhibit"),
            .interface = QStringLiteral("org.freedesktop.PowerManagement.Inhibit"),
            .arguments = [](const QString& reason) -> std::vector<BusValue> {
                return {us, reason};
            },
            .releaseMethod = QStringLiteral("UnInhibit"),
        },
        // systemd. What a desktop does by itself it does not always hold back.
        {
            .bus = BusConnection::Bus::System,
            .name = QStringLiteral("org.freedesktop.login1"),
            .path = QStringLiteral("/org/freedesktop/login1"),
            .interface = QStringLiteral("org.freedesktop.login1.Manager"),
            .arguments = [](const QString& reason) -> std::vector<BusValue> {
                return {QStringLiteral("sleep"), us, reason, QStringLiteral("block")};
            },
            .releaseMethod = {},
        },
    };
    return services;
}

} // namespace wingbell
