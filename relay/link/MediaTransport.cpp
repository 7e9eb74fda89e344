#include "relay/link/MediaTransport.h"

#include "relay/link/WebRtcLink.h"

#include <QRandomGenerator>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>

namespace wingbell {

namespace {

using namespace std::chrono_literals;

/// Every peer has its turn once in so many ticks, which is once a second.
constexpr std::size_t ticksInRound = 10;
constexpr auto tickInterval = 100ms;

/// Above ordinary threads, below the mixer's.
constexpr int priority = 9;

/// So many batches are received before what the mixer made is sent.
constexpr int maxBatches = 4;

/// The ufrag of a peer begins with its slot in so many hexadecimal digits.
constexpr std::size_t slotDigits = 4;

/// What comes before each datagram in the ring of events.
struct EventHeader
{
    MediaTransport::Slot slot;
    std::uint32_t source; ///< of the peer that had the slot then
    DatagramPath path;
};

FileDescriptor newEventDescriptor()
{
    FileDescriptor descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!descriptor.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    return descriptor;
}

void raise(const FileDescriptor& event)
{
    const eventfd_t one = 1;
    (void)::eventfd_write(event.get(), one);
}

void clear(const FileDescriptor& event)
{
    eventfd_t count = 0;
    (void)::eventfd_read(event.get(), &count);
}

std::string randomWord(std::size_t bytes)
{
    std::array<quint32, 8> random = {};
    QRandomGenerator::system()->generate(random.begin(), random.end());
    const QByteArray all(reinterpret_cast<const char*>(random.data()), sizeof random);
    return all.left(static_cast<qsizetype>(bytes)).toHex().toStdString();
}

IceCredentials credentialsFor(MediaTransport::Slot slot)
{
    const std::string digits =
        QByteArray::number(slot, 16).rightJustified(slotDigits, '0').toStdString();
    return {digits + randomWord(4), randomWord(16)};
}

} // namespace

MediaTransport::MediaTransport(
    DatagramSocket socket, std::unique_ptr<const DtlsContext> dtls, Settings settings)
    : m_socket(std::move(socket))
    , m_dtls(std::move(dtls))
    , m_settings(std::move(settings))
    , m_links(maxPeers)
    , m_eventNotifier(QSocketNotifier::Read)
    , m_eventDescriptor(newEventDescriptor())
    , m_wakeDescriptor(newEventDescriptor())
    , m_peers(maxPeers)
{
    for (std::size_t slot = maxPeers; slot > 0; --slot) {
        m_freeSlots.push_back(static_cast<Slot>(slot - 1));
    }
    m_activeSlots.reserve(maxPeers);
    m_eventNotifier.setSocket(m_eventDescriptor.get());
    m_eventNotifier.setEnabled(true);
    QObject::connect(
        &m_eventNotifier, &QSocketNotifier::activated, &m_eventNotifier, [this] { takeEvents(); });
    m_thread.emplace("network", priority, [this](RealTimeThread& self) { run(self); });
}

MediaTransport::~MediaTransport()
{
    m_isStopping = true;
    raise(m_wakeDescriptor);
    m_thread.reset();
}

std::shared_ptr<MediaLink> MediaTransport::makeLink()
{
    collect();
    if (m_freeSlots.empty()) {
        return nullptr;
    }
    const Slot slot = m_freeSlots.back();
    m_freeSlots.pop_back();
    auto peer = std::make_shared<MediaPeer>(credentialsFor(slot), m_settings.samplesPerCycle);
    auto link = std::make_shared<WebRtcLink>(*this, slot, peer);
    m_links[slot] = link;
    give({Command::Kind::Add, slot, std::move(peer), nullptr, {}, false});
    return link;
}

void MediaTransport::wake()
{
    if (!m_isWoken.exchange(true)) {
        raise(m_wakeDescriptor);
    }
}

void MediaTransport::give(Command command)
{
    {
        const std::scoped_lock lock(m_mutex);
        m_commands.push_back(std::move(command));
    }
    raise(m_wakeDescriptor);
}

/// Destroys what the network thread has given back.
void MediaTransport::collect()
{
    std::vector<Command> executed;
    {
        const std::scoped_lock lock(m_mutex);
        const auto end = m_commands.begin() + static_cast<std::ptrdiff_t>(m_executed);
        executed.assign(std::make_move_iterator(m_commands.begin()), std::make_move_iterator(end));
        m_commands.erase(m_commands.begin(), end);
        m_executed = 0;
    }
    for (const Command& command : executed) {
        if (command.kind == Command::Kind::Remove) {
            m_freeSlots.push_back(command.slot);
        }
    }
}

void MediaTransport::takeEvents()
{
    clear(m_eventDescriptor);
    for (auto event = m_events.first(); !event.empty(); event = m_events.first()) {
        EventHeader header = {};
        std::memcpy(&header, event.data(), sizeof header);
        const std::shared_ptr<WebRtcLink> link = m_links[header.slot].lock();
        if (link && link->source() == header.source) {
            link->takeDtls(header.path, event.subspan(sizeof header));
        }
        m_events.removeFirst();
    }
    collect();
}

void MediaTransport::run(RealTimeThread& self)
{
    std::array<pollfd, 2> waiting = {{
        {m_socket.descriptor(), POLLIN, 0},
        {m_wakeDescriptor.get(), POLLIN, 0},
    }};
    while (!m_isStopping) {
        (void)::poll(waiting.data(), waiting.size(), timeout(MediaPeer::Clock::now()));
        self.giveWay();
        const auto now = MediaPeer::Clock::now();
        if ((waiting[1].revents & POLLIN) != 0) {
            clear(m_wakeDescriptor);
            m_isWoken = false; // before the look: what is put afterwards wakes again
        }
        m_hasCommandsLeft = !takeCommands();
        for (const Slot slot : m_activeSlots) {
            m_peers[slot]->sendWaiting(m_socket, now);
        }
        m_socket.flush();
        if ((waiting[0].revents & POLLIN) != 0) {
            receive(now);
        }
        if (now >= m_nextTick) {
            tick(now);
        }
        m_socket.flush();
    }
    (void)takeCommands();
}

/// In milliseconds, for poll().
int MediaTransport::timeout(MediaPeer::Clock::time_point now) const
{
    if (m_hasCommandsLeft) {
        return 1;
    }
    if (m_activeSlots.empty()) {
        return -1;
    }
    auto next = m_nextTick;
    for (const Slot slot : m_activeSlots) {
        next = std::min(next, m_peers[slot]->nextDue());
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - now);
    return static_cast<int>(std::max(left, 0ms).count());
}

/// False if they are to be looked for again soon.
bool MediaTransport::takeCommands()
{
    const std::unique_lock lock(m_mutex, std::try_to_lock);
    if (!lock.owns_lock()) {
        return false;
    }
    for (; m_executed < m_commands.size(); ++m_executed) {
        execute(m_commands[m_executed]);
    }
    return true;
}

void MediaTransport::execute(Command& command)
{
    std::shared_ptr<MediaPeer>& peer = m_peers[command.slot];
    switch (command.kind) {
    case Command::Kind::Add:
        std::swap(peer, command.peer);
        m_activeSlots.push_back(command.slot);
        break;
    case Command::Kind::Start:
        peer->start(command.srtp, command.receiver, command.takesRed);
        break;
    case Command::Kind::Remove:
        for (const DatagramPath& path : peer->paths()) {
            m_paths.remove(path, command.slot);
        }
        std::swap(peer, command.peer);
        m_activeSlots.erase(std::find(m_activeSlots.begin(), m_activeSlots.end(), command.slot));
        raise(m_eventDescriptor);
        break;
    }
}

void MediaTransport::receive(MediaPeer::Clock::time_point now)
{
    for (int batch = 0; batch < maxBatches; ++batch) {
        const auto datagrams = m_socket.receive();
        for (const DatagramSocket::Datagram& datagram : datagrams) {
            switch (kindOf(datagram.bytes)) {
            case DatagramKind::Stun:
                takeCheck(datagram, now);
                break;
            case DatagramKind::Dtls:
                tellDtls(datagram.path, datagram.bytes);
                break;
            case DatagramKind::Media:
                if (const auto slot = m_paths.find(datagram.path)) {
                    m_peers[*slot]->takeMedia(datagram.path, datagram.bytes, m_socket, now);
                }
                break;
            case DatagramKind::Other:
                break;
            }
        }
        if (datagrams.empty()) {
            break;
        }
    }
}

void MediaTransport::takeCheck(
    const DatagramSocket::Datagram& datagram, MediaPeer::Clock::time_point now)
{
    const auto passwordOf = [this](std::string_view ufrag) -> std::string_view {
        const MediaPeer* const peer = peerOf(ufrag);
        return peer == nullptr ? std::string_view() : std::string_view(peer->ice().password);
    };
    const ConnectivityChecks::Outcome outcome =
        m_checks.take(datagram.bytes, datagram.path.peer, passwordOf);
    if (outcome.check) {
        MediaPeer& peer = *peerOf(outcome.check->ufrag);
        const auto slot = slotOf(outcome.check->ufrag);
        const auto owner = m_paths.find(datagram.path);
        // Another's way, while it is in use, cannot be taken over by claiming its address.
        if (owner && *owner != *slot && now - m_peers[*owner]->lastHeard() < MediaPeer::inUse) {
            return;
        }
        const bool wasReachable = peer.selectedPath().has_value();
        const auto forgotten = peer.checked(datagram.path, *outcome.check, now);
        if (forgotten) {
            m_paths.remove(*forgotten, *slot);
        }
        (void)m_paths.set(datagram.path, *slot);
        if (!wasReachable && peer.selectedPath()) {
            tellDtls(datagram.path, {});
        }
    }
    if (!outcome.response.empty()) {
        const auto space = m_socket.space();
        std::copy(outcome.response.begin(), outcome.response.end(), space.begin());
        m_socket.queue(datagram.path, outcome.response.size());
    }
}

/// An empty datagram tells that the peer can be reached at all.
void MediaTransport::tellDtls(const DatagramPath& path, std::span<const std::uint8_t> datagram)
{
    const auto slot = m_paths.find(path);
    std::array<std::uint8_t, PacketRing::maxPacketSize> event = {};
    if (!slot || sizeof(EventHeader) + datagram.size() > event.size()) {
        return;
    }
    const EventHeader header = {*slot, m_peers[*slot]->source(), path};
    std::memcpy(event.data(), &header, sizeof header);
    std::copy(datagram.begin(), datagram.end(), event.begin() + sizeof header);
    if (m_events.put(std::span(event).first(sizeof header + datagram.size()))) {
        raise(m_eventDescriptor);
    }
}

void MediaTransport::tick(MediaPeer::Clock::time_point now)
{
    m_nextTick = now + tickInterval;
    ++m_ticks;
    for (const Slot slot : m_activeSlots) {
        if (slot % ticksInRound == m_ticks % ticksInRound) {
            m_peers[slot]->report(m_socket, now);
        }
    }
}

std::optional<MediaTransport::Slot> MediaTransport::slotOf(std::string_view ufrag) const
{
    Slot slot = 0;
    const char* const end = ufrag.data() + std::min(slotDigits, ufrag.size());
    if (std::from_chars(ufrag.data(), end, slot, 16).ptr != end || slot >= m_peers.size() ||
        !m_peers[slot] || m_peers[slot]->ice().ufrag != ufrag) {
        return std::nullopt;
    }
    return slot;
}

MediaPeer* MediaTransport::peerOf(std::string_view ufrag) const
{
    const auto slot = slotOf(ufrag);
    return slot ? m_peers[*slot].get() : nullptr;
}

} // namespace wingbell
