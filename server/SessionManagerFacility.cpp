#include "server/SessionManagerFacility.h"

#include <utility>

namespace wingbell {

namespace {

QString service()
{
    return QStringLiteral("org.gnome.SessionManager");
}

BusCall callOf(const QString& method, std::vector<BusValue> arguments)
{
    return {
        .service = service(),
        .path = QStringLiteral("/org/gnome/SessionManager"),
        .interface = QStringLiteral("org.gnome.SessionManager"),
        .method = method,
        .arguments = std::move(arguments),
    };
}

} // namespace

SessionManagerFacility::SessionManagerFacility(std::chrono::milliseconds patience)
    : ServiceFacility(BusConnection::Bus::Session, service(), patience)
{
}

BusCall SessionManagerFacility::inhibitCall(const QString& reason) const
{
    constexpr quint32 noWindow = 0;
    constexpr quint32 suspendingOnly = 4; // 8 would keep the display lit
    return callOf(
        QStringLiteral("Inhibit"),
        {QStringLiteral("WingbellControl"), noWindow, reason, suspendingOnly});
}

bool SessionManagerFacility::keepHandle(BusMessage& answer)
{
    m_cookie = answer.readNumber();
    return m_cookie.has_value();
}

std::optional<BusCall> SessionManagerFacility::takeReleaseCall()
{
    const std::optional<quint32> cookie = std::exchange(m_cookie, std::nullopt);
    return cookie ? std::optional(callOf(QStringLiteral("Uninhibit"), {*cookie})) : std::nullopt;
}

} // namespace wingbell
