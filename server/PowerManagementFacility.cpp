#include "server/PowerManagementFacility.h"

#include <utility>

namespace wingbell {

namespace {

QString service()
{
    return QStringLiteral("org.freedesktop.PowerManagement");
}

BusCall callOf(const QString& method, std::vector<BusValue> arguments)
{
    return {
        .service = service(),
        .path = QStringLiteral("/org/freedesktop/PowerManagement/Inhibit"),
        .interface = QStringLiteral("org.freedesktop.PowerManagement.Inhibit"),
        .method = method,
        .arguments = std::move(arguments),
    };
}

} // namespace

PowerManagementFacility::PowerManagementFacility(
    Desktop desktop, std::chrono::milliseconds patience)
    : ServiceFacility(
          BusConnection::Bus::Session, service(), patience,
          Condition{
              .name = QStringLiteral("org.xfce.PowerManager"), .owned = desktop == Desktop::Xfce})
{
}

BusCall PowerManagementFacility::inhibitCall(const QString& reason) const
{
    return callOf(QStringLiteral("Inhibit"), {QStringLiteral("WingbellControl"), reason});
}

bool PowerManagementFacility::keepHandle(BusMessage& answer)
{
    m_cookie = answer.readNumber();
    return m_cookie.has_value();
}

std::optional<BusCall> PowerManagementFacility::takeReleaseCall()
{
    const std::optional<quint32> cookie = std::exchange(m_cookie, std::nullopt);
    return cookie ? std::optional(callOf(QStringLiteral("UnInhibit"), {*cookie})) : std::nullopt;
}

} // namespace wingbell
