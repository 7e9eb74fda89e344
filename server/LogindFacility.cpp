#include "server/LogindFacility.h"

namespace wingbell {

namespace {

QString service()
{
    return QStringLiteral("org.freedesktop.login1");
}

} // namespace

LogindFacility::LogindFacility(std::chrono::milliseconds patience)
    : ServiceFacility(BusConnection::Bus::System, service(), patience)
{
}

BusCall LogindFacility::inhibitCall(const QString& reason) const
{
    return {
        .service = service(),
        .path = QStringLiteral("/org/freedesktop/login1"),
        .interface = QStringLiteral("org.freedesktop.login1.Manager"),
        .method = QStringLiteral("Inhibit"),
        .arguments =
            {QStringLiteral("sleep"), QStringLiteral("WingbellControl"), reason,
             QStringLiteral("block")},
    };
}

bool LogindFacility::keepHandle(BusMessage& answer)
{
    m_lock = answer.readDescriptor();
    return m_lock.isOpen();
}

std::optional<BusCall> LogindFacility::takeReleaseCall()
{
    m_lock = FileDescriptor();
    return std::nullopt;
}

} // namespace wingbell
