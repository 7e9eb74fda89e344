#include "desktop/SleepBackend.h"

#include <utility>

namespace wingbell {

SleepBackend::SleepBackend(const SleepService& service, const QString& reason, QObject* parent)
    : QObject(parent)
    , m_service(service)
    , m_reason(reason)
{
    constexpr std::chrono::milliseconds retryInterval{500};
    m_retry.setSingleShot(true);
    m_retry.setInterval(retryInterval);
    connect(&m_retry, &QTimer::timeout, this, &SleepBackend::ask);
    ask();
}

void SleepBackend::release()
{
    m_retry.stop();
    switch (m_state) {
    case State::Asking:
        m_state = State::Abandoned;
        return;
    case State::Held:
        giveBack();
        return;
    case State::Failed:
        finish();
        return;
    case State::Abandoned:
    case State::Releasing:
        return;
    }
}

void SleepBackend::ask()
{
    m_state = State::Asking;
    m_newOwner.reset();
    m_retry.stop();
    open();
    m_connection->call(
        call(QStringLiteral("Inhibit"), m_service.arguments(m_reason)),
        [this](BusMessage& answer) { onAnswer(answer); });
}

void SleepBackend::open()
{
    m_connection = std::make_unique<BusConnection>(m_service.bus, m_service.timeout);
    connect(m_connection.get(), &BusConnection::closed, this, &SleepBackend::onClosed);
    m_connection->watchOwner(m_service.name, [this](const QString& owner) { onOwner(owner); });
}

void SleepBackend::onAnswer(BusMessage& answer)
{
    if (!answer.isValid()) {
        onOverdue();
        return;
    }
    if (m_newOwner && *m_newOwner != answer.sender()) {
        fail(*m_newOwner); // what a former owner of the name grants does not count
        return;
    }
    if (m_service.releaseMethod.isEmpty()) {
        m_lock = answer.readDescriptor();
    } else {
        m_cookie = answer.readNumber();
    }
    if (!m_lock.isOpen() && !m_cookie) {
        constexpr int maxAttempts = 10;
        if (answer.isUnknownCall() && m_state == State::Asking &&
            ++m_unreadyAttempts < maxAttempts) {
            m_retry.start();
        }
        fail();
        return;
    }
    m_unreadyAttempts = 0;
    if (m_state == State::Abandoned) {
        giveBack();
        return;
    }
    m_state = State::Held;
    Q_EMIT held();
}

void SleepBackend::onOverdue()
{
    m_connection.reset(); // the service drops a late grant with it
    if (m_state == State::Asking) {
        open();
    }
    fail(m_newOwner.value_or(QString()));
}

void SleepBackend::onOwner(const QString& owner)
{
    switch (m_state) {
    case State::Asking:
    case State::Abandoned:
        m_newOwner = owner;
        return;
    case State::Held:
        fail(owner); // the inhibition went with the former owner
        return;
    case State::Failed:
        m_unreadyAttempts = 0;
        if (!owner.isEmpty()) {
            ask();
        }
        return;
    case State::Releasing:
        return;
    }
}

void SleepBackend::onClosed()
{
    m_connection.reset();
    m_retry.stop();
    if (m_state == State::Held) {
        fail();
    } else if (m_state == State::Releasing) {
        finish();
    }
}

/// `newOwner` is who has the service's name now, if that is another than the one who failed.
void SleepBackend::fail(const QString& newOwner)
{
    m_cookie.reset();
    m_lock = FileDescriptor();
    if (m_state == State::Abandoned) {
        finish();
        return;
    }
    m_state = State::Failed;
    Q_EMIT failed();
    if (m_state == State::Failed && !newOwner.isEmpty()) {
        ask();
    }
}

void SleepBackend::giveBack()
{
    if (!m_cookie) {
        finish();
        return;
    }
    m_state = State::Releasing;
    m_connection->call(
        call(m_service.releaseMethod, {*m_cookie}), [this](BusMessage&) { finish(); });
}

void SleepBackend::finish()
{
    m_state = State::Releasing;
    m_lock = FileDescriptor();
    m_connection.reset();
    deleteLater();
}

BusCall SleepBackend::call(const QString& method, std::vector<BusValue> arguments) const
{
    return {
        .service = m_service.name,
        .path = m_service.path,
        .interface = m_service.interface,
        .method = method,
        .arguments = std::move(arguments),
    };
}

} // namespace wingbell
