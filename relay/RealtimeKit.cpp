#include "relay/RealtimeKit.h"

#include <algorithm>
#include <unistd.h>
#include <utility>

namespace wingbell {

namespace {

BusCall callOf(const QString& interface, const QString& method, std::vector<BusValue> arguments)
{
    return {
        .service = QStringLiteral("org.freedesktop.RealtimeKit1"),
        .path = QStringLiteral("/org/freedesktop/RealtimeKit1"),
        .interface = interface,
        .method = method,
        .arguments = std::move(arguments),
        .mayStartService = true};
}

QString ownInterface()
{
    return QStringLiteral("org.freedesktop.RealtimeKit1");
}

} // namespace

RealtimeKit::RealtimeKit(
    std::vector<RealTimeRequest> requests, Answered answered, std::chrono::milliseconds timeout)
    : m_requests(std::move(requests))
    , m_answered(std::move(answered))
    , m_bus(BusConnection::Bus::System, timeout)
{
    ask(QStringLiteral("RTTimeUSecMax"), [this](qint64 maxRun) {
        if (!limitRealTimeRun(std::min(maxRealTimeRun, std::chrono::microseconds(maxRun)))) {
            return finish(false);
        }
        ask(QStringLiteral("MaxRealtimePriority"),
            [this](qint64 maxPriority) { request(maxPriority); });
    });
}

void RealtimeKit::ask(const QString& property, std::function<void(qint64 value)> next)
{
    const BusCall call = callOf(
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"),
        {ownInterface(), property});
    m_bus.call(call, [this, next = std::move(next)](BusMessage& answer) {
        const auto value = answer.readVariantNumber();
        value ? next(*value) : finish(false);
    });
}

void RealtimeKit::request(qint64 maxPriority)
{
    if (maxPriority < 1) {
        return finish(false);
    }
    for (const RealTimeRequest& request : m_requests) {
        const BusCall call = callOf(
            ownInterface(), QStringLiteral("MakeThreadRealtimeWithPID"),
            {static_cast<quint64>(::getpid()), static_cast<quint64>(request.thread),
             static_cast<quint32>(std::min<qint64>(request.priority, maxPriority))});
        m_bus.call(call, [this](const BusMessage& answer) {
            if (answer.isError()) {
                finish(false);
            } else if (++m_granted == m_requests.size()) {
                finish(true);
            }
        });
    }
}

void RealtimeKit::finish(bool isGranted)
{
    if (const Answered answered = std::exchange(m_answered, nullptr)) {
        answered(isGranted); // which may have destroyed this
    }
}

} // namespace wingbell
