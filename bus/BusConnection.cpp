#include "bus/BusConnection.h"

#include <QByteArrayList>
#include <QPointer>

#include <algorithm>
#include <cstdint>
#include <poll.h>
#include <systemd/sd-bus.h>
#include <type_traits>
#include <utility>

namespace wingbell {

namespace {

using std::chrono::milliseconds;

struct UnreferenceSlot
{
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using Slot = std::unique_ptr<sd_bus_slot, UnreferenceSlot>;

/// The entries of a list of bus addresses that lead to a socket of this machine.
QByteArray localAddresses(const QByteArray& addresses)
{
    QByteArrayList local;
    for (const QByteArray& address : addresses.split(';')) {
        if (address.startsWith("unix:")) {
            local.append(address);
        }
    }
    return local.join(';');
}

bool append(sd_bus_message* message, const QString& text)
{
    return sd_bus_message_append_basic(message, SD_BUS_TYPE_STRING, text.toUtf8().constData()) >= 0;
}

bool append(sd_bus_message* message, quint32 number)
{
    return sd_bus_message_append_basic(message, SD_BUS_TYPE_UINT32, &number) >= 0;
}

bool append(sd_bus_message* message, quint64 number)
{
    return sd_bus_message_append_basic(message, SD_BUS_TYPE_UINT64, &number) >= 0;
}

bool append(sd_bus_message* message, const QStringList& texts)
{
    return sd_bus_message_open_container(message, SD_BUS_TYPE_ARRAY, "s") >= 0 &&
           std::all_of(
               texts.begin(), texts.end(),
               [message](const QString& text) { return append(message, text); }) &&
           sd_bus_message_close_container(message) >= 0;
}

/// How long until the instant `due`, in microseconds of the monotonic clock; never negative.
milliseconds timeUntil(std::uint64_t due)
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const auto left = std::chrono::microseconds(due) - now;
    constexpr milliseconds maxDelay = std::chrono::hours(1); // looked at again then
    return std::clamp(std::chrono::ceil<milliseconds>(left), milliseconds(0), maxDelay);
}

} // namespace

struct BusConnection::Call
{
    Call(BusConnection* owner, Handler handler)
        : connection(owner)
        , answered(std::move(handler))
    {
    }

    /// Called by the bus library, which must not be re-entered: the answer is only put by.
    static int answer(sd_bus_message* message, void* self, sd_bus_error*)
    {
        const Call& call = *static_cast<Call*>(self);
        BusConnection& connection = *call.connection;
        const std::unique_ptr<Call> done = connection.takeCall(call);
        connection.m_deliveries.push_back({std::move(done->answered), BusMessage(message)});
        return 0;
    }

    BusConnection* connection;
    Handler answered;
    QTimer timeout;
    Slot slot;
};

struct BusConnection::Subscription
{
    static int arrive(sd_bus_message* message, void* self, sd_bus_error*)
    {
        const Subscription& subscription = *static_cast<Subscription*>(self);
        subscription.connection->m_deliveries.push_back(
            {subscription.arrived, BusMessage(message)});
        return 0;
    }

    BusConnection* connection;
    Handler arrived;
    Slot slot;
};

void BusConnection::CloseBus::operator()(sd_bus* bus) const
{
    sd_bus_close_unref(bus);
}

bool BusConnection::hangs(Bus bus, milliseconds timeout)
{
    using std::chrono::steady_clock;
    const std::unique_ptr<sd_bus, CloseBus> probe(open(bus));
    const auto end = steady_clock::now() + timeout;
    while (probe && sd_bus_process(probe.get(), nullptr) >= 0) {
        const auto left = std::chrono::ceil<std::chrono::microseconds>(end - steady_clock::now());
        if (sd_bus_is_ready(probe.get()) > 0) {
            return false;
        }
        if (left.count() <= 0) {
            return true;
        }
        (void)sd_bus_wait(probe.get(), static_cast<std::uint64_t>(left.count()));
    }
    return false;
}

BusConnection::BusConnection(Bus bus, milliseconds timeout)
    : m_timeout(timeout)
    , m_bus(open(bus))
{
    m_opening.setSingleShot(true);
    m_due.setSingleShot(true);
    connect(&m_opening, &QTimer::timeout, this, &BusConnection::lose);
    connect(&m_due, &QTimer::timeout, this, &BusConnection::process);
    m_opening.start(m_bus ? m_timeout : milliseconds(0));
    listen();
}

BusConnection::~BusConnection()
{
    drop();
}

sd_bus* BusConnection::open(Bus bus)
{
    const bool session = bus == Bus::Session;
    const char* variable = session ? "DBUS_SESSION_BUS_ADDRESS" : "DBUS_SYSTEM_BUS_ADDRESS";
    sd_bus* opened = nullptr;
    if (!qEnvironmentVariableIsSet(variable)) {
        // The usual place, which is a socket of this machine.
        return (session ? sd_bus_open_user(&opened) : sd_bus_open_system(&opened)) >= 0 ? opened
                                                                                        : nullptr;
    }
    const QByteArray addresses = localAddresses(qgetenv(variable));
    if (addresses.isEmpty() || sd_bus_new(&opened) < 0) {
        return nullptr;
    }
    std::unique_ptr<sd_bus, CloseBus> owned(opened);
    const bool started = sd_bus_set_address(opened, addresses.constData()) >= 0 &&
                         sd_bus_set_bus_client(opened, 1) >= 0 && sd_bus_start(opened) >= 0;
    return started ? owned.release() : nullptr;
}

void BusConnection::call(const BusCall& call, Handler answered)
{
    const auto& pending = m_calls.emplace_back(std::make_unique<Call>(this, std::move(answered)));
    pending->timeout.setSingleShot(true);
    connect(&pending->timeout, &QTimer::timeout, this, [this, waiting = pending.get()] {
        giveUp(*waiting);
    });
    pending->timeout.start(send(call, *pending) ? m_timeout : milliseconds(0));
    listen();
}

bool BusConnection::send(const BusCall& call, Call& pending)
{
    if (!m_bus) {
        return false;
    }
    sd_bus_message* message = nullptr;
    if (sd_bus_message_new_method_call(
            m_bus.get(), &message, call.service.toUtf8().constData(),
            call.path.toUtf8().constData(), call.interface.toUtf8().constData(),
            call.method.toUtf8().constData()) < 0) {
        return false;
    }
    const auto unreference = [](sd_bus_message* owned) {
        sd_bus_message_unref(owned);
    };
    const std::unique_ptr<sd_bus_message, decltype(unreference)> owned(message, unreference);
    const auto appended = [message](const BusValue& argument) {
        return std::visit(
            [message](const auto& value) { return append(message, value); }, argument);
    };
    sd_bus_slot* slot = nullptr;
    // The library counts no time: it would leave out the time it takes to connect.
    if (sd_bus_message_set_auto_start(message, call.mayStartService ? 1 : 0) < 0 ||
        !std::all_of(call.arguments.begin(), call.arguments.end(), appended) ||
        sd_bus_call_async(m_bus.get(), &slot, message, &Call::answer, &pending, UINT64_MAX) < 0) {
        return false;
    }
    pending.slot.reset(slot);
    return true;
}

void BusConnection::subscribe(const QByteArray& rule, Handler arrived)
{
    if (!m_bus) {
        return;
    }
    const auto& subscription = m_subscriptions.emplace_back(
        new Subscription{.connection = this, .arrived = std::move(arrived), .slot = nullptr});
    sd_bus_slot* slot = nullptr;
    sd_bus_add_match_async(
        m_bus.get(), &slot, rule.constData(), &Subscription::arrive, nullptr, subscription.get());
    subscription->slot.reset(slot);
    listen();
}

void BusConnection::watchOwner(const QString& name, const OwnerHandler& changed)
{
    const QString rule =
        QStringLiteral("type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
                       "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='%1'");
    subscribe(rule.arg(name).toUtf8(), [changed](BusMessage& signal) {
        (void)signal.readText(); // the name
        (void)signal.readText(); // the old owner
        if (const auto owner = signal.readText()) {
            changed(*owner);
        }
    });
}

std::unique_ptr<BusConnection::Call> BusConnection::takeCall(const Call& call)
{
    const auto place = std::find_if(
        m_calls.begin(), m_calls.end(), [&call](const auto& each) { return each.get() == &call; });
    std::unique_ptr<Call> taken = std::move(*place);
    m_calls.erase(place);
    return taken;
}

void BusConnection::giveUp(const Call& call)
{
    const std::unique_ptr<Call> done = takeCall(call);
    BusMessage nothing(nullptr);
    done->answered(nothing);
}

void BusConnection::process()
{
    const QPointer<BusConnection> alive(this);
    int result = 0;
    do {
        result = sd_bus_process(m_bus.get(), nullptr);
        deliver();
        if (!alive || !m_bus) {
            return;
        }
    } while (result > 0);
    if (result < 0) {
        lose();
    } else {
        listen();
    }
}

void BusConnection::deliver()
{
    const QPointer<BusConnection> alive(this);
    while (alive && !m_deliveries.empty()) {
        Delivery next = std::move(m_deliveries.front());
        m_deliveries.pop_front();
        next.handler(next.message);
    }
}

void BusConnection::listen()
{
    if (!m_bus) {
        return;
    }
    if (sd_bus_is_ready(m_bus.get()) > 0) {
        m_opening.stop();
    }
    const int events = sd_bus_get_events(m_bus.get());
    setListening(m_readable, QSocketNotifier::Read, events >= 0 && (events & POLLIN) != 0);
    setListening(m_writable, QSocketNotifier::Write, events >= 0 && (events & POLLOUT) != 0);
    std::uint64_t due = UINT64_MAX;
    if (events < 0 || sd_bus_get_timeout(m_bus.get(), &due) < 0) {
        m_opening.start(milliseconds(0)); // broken; told from the event loop
    } else if (due == UINT64_MAX) {
        m_due.stop();
    } else {
        m_due.start(timeUntil(due));
    }
}

void BusConnection::setListening(
    std::unique_ptr<QSocketNotifier>& notifier, QSocketNotifier::Type type, bool listening)
{
    // The descriptor changes while one address after another is tried.
    const int descriptor = sd_bus_get_fd(m_bus.get());
    if (notifier && (descriptor < 0 || notifier->socket() != descriptor)) {
        notifier.reset();
    }
    if (!notifier && listening && descriptor >= 0) {
        notifier = std::make_unique<QSocketNotifier>(descriptor, type);
        connect(notifier.get(), &QSocketNotifier::activated, this, &BusConnection::process);
    }
    if (notifier) {
        notifier->setEnabled(listening);
    }
}

void BusConnection::drop()
{
    m_opening.stop();
    m_due.stop();
    m_readable.reset();
    m_writable.reset();
    // Closed before the rest goes, or each subscription would be taken back by a message.
    if (m_bus) {
        sd_bus_close(m_bus.get());
    }
}

void BusConnection::lose()
{
    const QPointer<BusConnection> alive(this);
    drop();
    m_subscriptions.clear();
    m_bus.reset();
    for (const auto& call : std::exchange(m_calls, {})) {
        BusMessage nothing(nullptr);
        call->answered(nothing);
        if (!alive) {
            return;
        }
    }
    Q_EMIT closed();
}

} // namespace wingbell
