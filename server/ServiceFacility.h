#pragma once

#include "server/BusCall.h"
#include "server/BusConnection.h"
#include "server/InhibitionFacility.h"

#include <QString>
#include <QTimer>

#include <chrono>
#include <memory>
#include <optional>

namespace wingbell {

/// The inhibition of a service on a message bus: what is alike for all of them.
///
/// Every attempt has a connection of its own, so that whatever a service grants too late ends with
/// the connection it was asked on. After an attempt that failed the connection stays, to learn when
/// the service appears; a bus that is gone is not looked for again. A service that is there and
/// does not know the call yet, since some take their name before they are ready, is worth a few
/// attempts.
class ServiceFacility : public InhibitionFacility
{
    Q_OBJECT

public:
    void take(const QString& reason) final;
    void release() final;

protected:
    /// Another name on the bus which must, or must not, have an owner for the service to suit.
    struct Condition
    {
        QString name;
        bool owned = false;
    };

    /// The service with the name `service`, which has `patience` for each attempt and for taking
    /// its inhibition back.
    ServiceFacility(
        BusConnection::Bus bus, QString service, std::chrono::milliseconds patience,
        std::optional<Condition> condition = std::nullopt);

    [[nodiscard]] virtual BusCall inhibitCall(const QString& reason) const = 0;
    /// Keeps the handle in the answer to the call; false when there is none.
    [[nodiscard]] virtual bool keepHandle(BusMessage& answer) = 0;
    /// Forgets the handle. The call that gives it back; nothing when forgetting it did.
    [[nodiscard]] virtual std::optional<BusCall> takeReleaseCall() = 0;

private:
    enum class State {
        Idle,      ///< nothing held, no connection
        Asking,    ///< an attempt is under way
        Abandoned, ///< the same, but what it brings is given back
        Held,
        GivingBack, ///< the service was told and has not confirmed yet
        Watching,   ///< the last attempt failed; waiting for the service to appear
    };

    void open();
    void checkCondition();
    void ask();
    void onAnswer(BusMessage& answer);
    void onOverdue();
    void onRefused(const BusMessage& answer);
    void onOwner(const QString& owner);
    void onConditionOwner(const QString& owner);
    void onClosed();
    void giveBack();
    void fail(const QString& newOwner = {});
    void finish();

    const BusConnection::Bus m_bus;
    const QString m_service;
    const std::chrono::milliseconds m_patience;
    const std::optional<Condition> m_condition;
    State m_state = State::Idle;
    QString m_reason;
    QTimer m_attempt;                  ///< runs while an attempt is under way
    QTimer m_again;                    ///< runs until a service that was not ready is worth another
    int m_unready = 0;                 ///< attempts in a row that found the service not ready
    std::optional<QString> m_newOwner; ///< who got the service's name since the attempt began
    bool m_suits = true;               ///< the condition is met
    std::unique_ptr<BusConnection> m_connection;
};

} // namespace wingbell
