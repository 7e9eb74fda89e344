#pragma once

#include "base/FileDescriptor.h"
#include "desktop/SleepServices.h"

#include <QObject>
#include <QTimer>

#include <memory>
#include <optional>

namespace wingbell {

/// One inhibition asked of one service: at once, and again whenever the service gets another owner.
///
/// Every attempt has a connection of its own, so that what the service grants too late ends
/// with the connection it was asked on. After an attempt that failed the connection stays, to learn
/// when the service appears; a bus that is gone is not looked for again. A service that is there
/// and does not know the call yet, since some take their name before they are ready, is asked a few
/// times more. No call waits. Destroying it drops what is held. User-interface thread only.
class SleepBackend : public QObject
{
    Q_OBJECT

public:
    SleepBackend(const SleepService& service, const QString& reason, QObject* parent);

    /// Gives back what is held or is yet to be granted, then deletes itself; tells nothing more.
    void release();

Q_SIGNALS:
    void held();
    /// The inhibition was not granted, or it was held and the service is gone.
    void failed();

private:
    enum class State {
        Asking,
        Abandoned, ///< the same, but what it brings is given back
        Held,
        Failed,    ///< waiting for the service to appear
        Releasing, ///< the service was told and has not confirmed yet
    };

    void ask();
    void open();
    void onAnswer(BusMessage& answer);
    void onOverdue();
    void onOwner(const QString& owner);
    void onClosed();
    void fail(const QString& newOwner = {});
    void giveBack();
    void finish();
    [[nodiscard]] BusCall call(const QString& method, std::vector<BusValue> arguments) const;

    const SleepService m_service;
    const QString m_reason;
    State m_state = State::Asking;
    std::unique_ptr<BusConnection> m_connection;
    std::optional<QString> m_newOwner; ///< who got the service's name since it was asked
    std::optional<quint32> m_cookie;   ///< by which the inhibition is taken back
    FileDescriptor m_lock;             ///< which holds the inhibition
    QTimer m_retry;                    ///< runs until a service that was not ready is asked again
    int m_unreadyAttempts = 0;         ///< in a row
};

} // namespace wingbell
