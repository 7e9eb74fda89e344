#pragma once

#include "base/FileDescriptor.h"
#include "relay/audio/RealTimeThread.h"
#include "relay/link/DatagramSocket.h"
#include "relay/link/DtlsConnection.h"
#include "relay/link/MediaPeer.h"
#include "relay/link/PathTable.h"

#include <QHostAddress>
#include <QSocketNotifier>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace wingbell {

class WebRtcLink;

/// Carries the media of all crew members over one UDP socket, on one thread: connectivity checks,
/// encryption, and the way to the mixer and back. Handshakes are left to the main thread, so that
/// this one is never late. It allocates nothing and waits for no lock, but for what the libraries
/// that encrypt do within their calls: their locks are held by others only while a member joins.
///
/// To be used on the main thread, except for wake().
class MediaTransport
{
public:
    /// 250 people, and some who are just leaving.
    static constexpr std::size_t maxPeers = 300;

    struct Settings
    {
        std::size_t samplesPerCycle = 960;
        /// Gives the addresses at which the socket can be reached now, best first.
        std::function<std::vector<QHostAddress>()> addresses;
    };

    /// Names a peer of the transport; used again for others once it was removed.
    using Slot = std::uint16_t;

    /// Takes over a bound `socket`, and `dtls`. Throws std::system_error if no thread can be
    /// started.
    MediaTransport(
        DatagramSocket socket, std::unique_ptr<const DtlsContext> dtls, Settings settings);
    /// All links must be gone. No receiver is called any more when this returns.
    ~MediaTransport();
    MediaTransport(const MediaTransport&) = delete;
    MediaTransport& operator=(const MediaTransport&) = delete;

    /// A new link; nullptr if there are `maxPeers`.
    [[nodiscard]] std::shared_ptr<MediaLink> makeLink();

    /// The mixer has put packets for some peers. Any thread; never waits.
    void wake();

    [[nodiscard]] const RealTimeThread& thread() const { return *m_thread; }

private:
    friend class WebRtcLink;

    /// What the main thread wants of the network thread, and gives away or gets back with it.
    struct Command
    {
        enum class Kind { Add, Start, Remove };
        Kind kind = Kind::Add;
        Slot slot = 0;
        std::shared_ptr<MediaPeer> peer;
        std::unique_ptr<SrtpSession> srtp;
        RtpReceiver receiver;
        bool takesRed = false;
    };

    // Main thread.
    [[nodiscard]] const Settings& settings() const { return m_settings; }
    [[nodiscard]] quint16 port() const { return m_socket.port(); }
    [[nodiscard]] const DtlsContext& dtls() const { return *m_dtls; }
    void give(Command command);
    void collect();
    void takeEvents();
    void sendOne(const DatagramPath& path, std::span<const std::uint8_t> datagram) const
    {
        m_socket.sendOne(path, datagram);
    }

    // Network thread.
    void run(RealTimeThread& self);
    [[nodiscard]] int timeout(MediaPeer::Clock::time_point now) const;
    [[nodiscard]] bool takeCommands();
    void execute(Command& command);
    void receive(MediaPeer::Clock::time_point now);
    void takeCheck(const DatagramSocket::Datagram& datagram, MediaPeer::Clock::time_point now);
    void tellDtls(const DatagramPath& path, std::span<const std::uint8_t> datagram);
    void tick(MediaPeer::Clock::time_point now);
    [[nodiscard]] std::optional<Slot> slotOf(std::string_view ufrag) const;
    [[nodiscard]] MediaPeer* peerOf(std::string_view ufrag) const;

    DatagramSocket m_socket;
    std::unique_ptr<const DtlsContext> m_dtls;
    Settings m_settings;

    // Main thread.
    std::vector<std::weak_ptr<WebRtcLink>> m_links; ///< by slot
    std::vector<Slot> m_freeSlots;
    QSocketNotifier m_eventNotifier;

    // Between the threads.
    std::mutex m_mutex; ///< for the next two; the network thread never waits for it
    std::vector<Command> m_commands;
    std::size_t m_executed = 0;
    PacketRing m_events{65536}; ///< to the main thread
    FileDescriptor m_eventDescriptor;
    FileDescriptor m_wakeDescriptor;
    std::atomic<bool> m_isWoken = false;
    std::atomic<bool> m_isStopping = false;

    // Network thread.
    ConnectivityChecks m_checks;
    std::vector<std::shared_ptr<MediaPeer>> m_peers; ///< by slot
    std::vector<Slot> m_activeSlots;
    PathTable m_paths{maxPeers * MediaPeer::maxPaths};
    MediaPeer::Clock::time_point m_nextTick;
    std::size_t m_ticks = 0;
    bool m_hasCommandsLeft = false;

    std::optional<RealTimeThread> m_thread; ///< last: it uses all the others
};

} // namespace wingbell
