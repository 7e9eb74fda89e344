#include "server/ServiceFacility.h"

#include <utility>

namespace wingbell {

ServiceFacility::ServiceFacility(
    BusConnection::Bus bus, QString service, std::chrono::milliseconds patience,
    std::optional<Condition> condition)
    : m_bus(bus)
    , m_service(std::move(service))
    , m_patience(patience)
    , m_condition(std::move(condition))
{
    m_attempt.setSingleShot(true);
    connect(&m_attempt, &QTimer::timeout, this, &ServiceFacility::onOverdue);
    m_again.setSingleShot(true);
    connect(&m_again, &QTimer::timeout, this, &ServiceFacility::available);
}

void ServiceFacility::take(const QString& reason)
{
    m_reason = reason;
    m_state = State::Asking;
    m_newOwner.reset();
    m_suits = true;
    m_again.stop();
    m_attempt.start(m_patience);
    open();
    if (m_condition) {
        checkCondition();
    } else {
        ask();
    }
}

void ServiceFacility::release()
{
    switch (m_state) {
    case State::Asking:
        m_state = State::Abandoned;
        return;
    case State::Held:
        giveBack();
        return;
    case State::Idle:
    case State::Watching:
        finish();
        return;
    case State::Abandoned:
    case State::GivingBack:
        return;
    }
}

void ServiceFacility::open()
{
    m_connection = std::make_unique<BusConnection>(m_bus, m_patience);
    connect(m_connection.get(), &BusConnection::closed, this, &ServiceFacility::onClosed);
    m_connection->watchOwner(m_service, [this](const QString& owner) { onOwner(owner); });
    if (m_condition) {
        m_connection->watchOwner(
            m_condition->name, [this](const QString& owner) { onConditionOwner(owner); });
    }
}

void ServiceFacility::checkCondition()
{
    const BusCall question = {
        .service = QStringLiteral("org.freedesktop.DBus"),
        .path = QStringLiteral("/org/freedesktop/DBus"),
        .interface = QStringLiteral("org.freedesktop.DBus"),
        .method = QStringLiteral("NameHasOwner"),
        .arguments = {m_condition->name},
    };
    m_connection->call(question, [this](BusMessage& answer) {
        m_suits = answer.readTruth() == m_condition->owned;
        if (m_suits && m_state == State::Asking) {
            ask();
        } else {
            fail();
        }
    });
}

void ServiceFacility::ask()
{
    m_connection->call(inhibitCall(m_reason), [this](BusMessage& answer) { onAnswer(answer); });
}

void ServiceFacility::onAnswer(BusMessage& answer)
{
    if (!answer.hasCome()) {
        onOverdue();
        return;
    }
    m_attempt.stop();
    if (m_newOwner && *m_newOwner != answer.sender()) {
        fail(*m_newOwner); // what a former owner of the name grants does not count
        return;
    }
    if (!keepHandle(answer)) {
        onRefused(answer);
        return;
    }
    m_unready = 0;
    if (m_state == State::Abandoned) {
        giveBack();
        return;
    }
    m_state = State::Held;
    if (m_suits) {
        Q_EMIT taken();
    } else {
        fail();
    }
}

void ServiceFacility::onOverdue()
{
    m_connection.reset(); // the service drops a late grant with it
    if (m_state == State::Asking) {
        open();
    }
    fail(m_newOwner.value_or(QString()));
}

void ServiceFacility::onRefused(const BusMessage& answer)
{
    constexpr int mostAttempts = 10;
    constexpr std::chrono::milliseconds pause{500};
    if (answer.isUnknownCall() && m_state == State::Asking && ++m_unready < mostAttempts) {
        m_again.start(pause);
    }
    fail();
}

void ServiceFacility::onOwner(const QString& owner)
{
    switch (m_state) {
    case State::Asking:
    case State::Abandoned:
        m_newOwner = owner;
        return;
    case State::Held:
        (void)takeReleaseCall(); // the handle went with the former owner
        fail(owner);
        return;
    case State::Watching:
        if (!owner.isEmpty()) {
            m_unready = 0;
            Q_EMIT available();
        }
        return;
    case State::Idle:
    case State::GivingBack:
        return;
    }
}

void ServiceFacility::onConditionOwner(const QString& owner)
{
    m_suits = m_condition->owned != owner.isEmpty();
    if (m_state == State::Held && !m_suits) {
        fail();
    } else if (m_state == State::Watching && m_suits) {
        Q_EMIT available();
    }
}

void ServiceFacility::onClosed()
{
    m_connection.reset();
    m_again.stop();
    (void)takeReleaseCall();
    if (m_state == State::Asking || m_state == State::Held || m_state == State::Abandoned) {
        fail();
    } else if (m_state == State::GivingBack) {
        finish();
    }
}

void ServiceFacility::giveBack()
{
    const std::optional<BusCall> call = takeReleaseCall();
    if (!call) {
        finish();
        return;
    }
    m_state = State::GivingBack;
    m_connection->call(*call, [this](BusMessage&) { finish(); });
}

/// What a service holds that does not suit is given back without waiting for the answer. `newOwner`
/// is who has the service's name now, if that is somebody else than the one who failed.
void ServiceFacility::fail(const QString& newOwner)
{
    m_attempt.stop();
    if (m_state == State::Abandoned) {
        finish();
        return;
    }
    const std::optional<BusCall> call = takeReleaseCall();
    if (call && m_connection) {
        m_connection->call(*call, [](BusMessage&) {});
    }
    m_state = State::Watching;
    Q_EMIT failed();
    if (m_state == State::Watching && !newOwner.isEmpty()) {
        Q_EMIT available();
    }
}

void ServiceFacility::finish()
{
    m_attempt.stop();
    m_again.stop();
    m_unready = 0;
    m_connection.reset();
    m_state = State::Idle;
    Q_EMIT released();
}

} // namespace wingbell
