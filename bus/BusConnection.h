#pragma once

#include "bus/BusMessage.h"

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <QTimer>

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

struct sd_bus;
struct sd_bus_message;

namespace wingbell {

/// A private connection to a message bus that never waits: everything, connecting included, happens
/// in the event loop of the thread that made it.
///
/// Only buses on sockets of this machine are spoken to: to find another host, or to launch a bus,
/// would take time or leave a process behind. Handlers are called from the event loop, never from
/// inside a call, and not after the connection is destroyed, which any of them may do. Destroying
/// the connection waits for nothing and drops what was not sent yet.
class BusConnection : public QObject
{
    Q_OBJECT

public:
    enum class Bus { Session, System };
    using Handler = std::function<void(BusMessage&)>;
    using OwnerHandler = std::function<void(const QString& owner)>;

    /// Whether the bus accepts connections and then authenticates none within `timeout`. Waits that
    /// long at most, a bus in good health for a millisecond: for use before there is a window.
    [[nodiscard]] static bool hangs(Bus bus, std::chrono::milliseconds timeout);

    /// Starts connecting. `timeout` is how long the bus may take to let us in, and how long the
    /// answer to a call may take, counted from the call.
    BusConnection(Bus bus, std::chrono::milliseconds timeout);
    ~BusConnection() override;
    Q_DISABLE_COPY_MOVE(BusConnection)

    /// Calls a method; may be used at once. `answered` is called once: with the answer, with the
    /// error, or, after `timeout` or when the connection breaks, with an error that is no message.
    void call(const BusCall& call, Handler answered);

    /// Has `arrived` called for each signal that fits the match rule `rule`.
    void subscribe(const QByteArray& rule, Handler arrived);

    /// Has `changed` called with the new owner's unique name, empty for none, each time the bus
    /// name `name` changes hands after this call.
    void watchOwner(const QString& name, const OwnerHandler& changed);

Q_SIGNALS:
    /// The bus could not be reached or is gone. Told once, after the pending calls were answered.
    void closed();

private:
    struct Call;
    struct Subscription;
    struct Delivery
    {
        Handler handler;
        BusMessage message;
    };
    struct CloseBus
    {
        void operator()(sd_bus* bus) const;
    };

    [[nodiscard]] static sd_bus* open(Bus bus);
    [[nodiscard]] bool send(const BusCall& call, Call& pending);
    [[nodiscard]] std::unique_ptr<Call> takeCall(const Call& call);
    void giveUp(const Call& call);
    void process();
    void deliver();
    void listen();
    void setListening(
        std::unique_ptr<QSocketNotifier>& notifier, QSocketNotifier::Type type, bool listening);
    void drop();
    void lose();

    std::chrono::milliseconds m_timeout;
    std::unique_ptr<sd_bus, CloseBus> m_bus;
    std::vector<std::unique_ptr<Call>> m_calls;
    std::vector<std::unique_ptr<Subscription>> m_subscriptions;
    std::deque<Delivery> m_deliveries;
    std::unique_ptr<QSocketNotifier> m_readable;
    std::unique_ptr<QSocketNotifier> m_writable;
    QTimer m_opening; ///< runs until the bus has let us in
    QTimer m_due;     ///< when the bus library wants to act without having been written to
};

} // namespace wingbell
