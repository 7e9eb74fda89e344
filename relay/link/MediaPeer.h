#pragma once

#include "relay/audio/PacketRing.h"
#include "relay/audio/RedPayload.h"
#include "relay/link/ConnectivityChecks.h"
#include "relay/link/DatagramSocket.h"
#include "relay/link/MediaLink.h"
#include "relay/link/MissingPackets.h"
#include "relay/link/RtcpReports.h"
#include "relay/link/RtpHistory.h"
#include "relay/link/RtpStream.h"
#include "relay/link/SrtpSession.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace wingbell {

/// The media of one crew member: which way its packets take, their encryption and their reports.
///
/// Everything belongs to the network thread, except put(), which is for the mixer thread, and
/// isLost(), which is for any. Allocates only when built.
class MediaPeer
{
public:
    using Clock = std::chrono::steady_clock;

    /// So many ways to one peer are known at a time: a phone has Wi-Fi and mobile data, each with
    /// IPv4 and IPv6, and new ports whenever it looks for a new way (ICE restart).
    static constexpr std::size_t maxPaths = 16;
    /// Without a check or a packet of the peer for so long, its consent to be sent to has ended
    /// (RFC 7675).
    static constexpr Clock::duration consentTimeout = std::chrono::seconds(20);
    /// A way on which the peer was heard so recently is in use.
    static constexpr Clock::duration inUse = std::chrono::seconds(3);
    /// A way without audio of the peer for so long is left for a newer one that it nominates.
    static constexpr Clock::duration audioGap = std::chrono::milliseconds(200);

    MediaPeer(IceCredentials ice, std::size_t samplesPerCycle);

    [[nodiscard]] const IceCredentials& ice() const { return m_ice; }
    [[nodiscard]] std::uint32_t source() const { return m_stream.source(); }

    /// Takes a packet of Opus to send. False when it is dropped. Mixer thread.
    bool put(std::span<const std::uint8_t> packet) { return m_outbox.put(packet); }

    /// Whether the peer was not heard for too long. Any thread.
    [[nodiscard]] bool isLost() const { return m_isLost; }

    /// From now on media is sent, as RED while many packets are lost if the peer takes it, and
    /// received by `receiver`. Leaves in `srtp` and `receiver` what was there before, so that it is
    /// destroyed elsewhere. Network thread, as are all that follow.
    void start(std::unique_ptr<SrtpSession>& srtp, RtpReceiver& receiver, bool takesRed)
    {
        m_srtp.swap(srtp);
        m_receiver.swap(receiver);
        m_takesRed = takesRed;
    }

    /// The peer has shown on `path` that it knows the password. Returns the way that is forgotten
    /// for it, if any.
    std::optional<DatagramPath>
    checked(const DatagramPath& path, const ConnectivityCheck& check, Clock::time_point now);

    /// The ways on which the peer has shown that it knows the password.
    [[nodiscard]] std::span<const DatagramPath> paths() const
    {
        return std::span(m_paths).first(m_pathCount);
    }

    /// The one that is sent on.
    [[nodiscard]] const std::optional<DatagramPath>& selectedPath() const { return m_selected; }
    [[nodiscard]] Clock::time_point lastHeard() const { return m_lastHeard; }

    /// Takes RTP or RTCP, still encrypted. Gives Opus that is genuine to the receiver, asks for
    /// what is missing, and sends again what the peer asks for.
    void takeMedia(
        const DatagramPath& path, std::span<std::uint8_t> packet, DatagramSocket& socket,
        Clock::time_point now);

    /// Sends what the mixer has put, and asks again for what is still missing.
    void sendWaiting(DatagramSocket& socket, Clock::time_point now);

    /// When sendWaiting() is to be called at the latest, for what is missing.
    [[nodiscard]] Clock::time_point nextDue() const
    {
        return maySend() ? m_missing.nextDue() : Clock::time_point::max();
    }

    /// Sends an RTCP report, and looks whether the peer is lost. To be called about once a second.
    void report(DatagramSocket& socket, Clock::time_point now);

private:
    [[nodiscard]] bool maySend() const { return m_srtp && m_selected && !m_isLost; }
    void
    takeRtp(std::span<const std::uint8_t> plain, DatagramSocket& socket, Clock::time_point now);
    void send(std::span<const std::uint8_t> opus, DatagramSocket& socket, Clock::time_point now);
    [[nodiscard]] std::size_t copiesToSend() const;
    [[nodiscard]] bool
    isBetter(const DatagramPath& path, const ConnectivityCheck& check, Clock::time_point now) const;
    void select(const DatagramPath& path, Clock::time_point now);
    void askForMissing(DatagramSocket& socket, Clock::time_point now);
    void sendControl(DatagramSocket& socket, std::size_t size);
    void sendAgain(std::uint16_t sequence, DatagramSocket& socket, Clock::time_point now);

    IceCredentials m_ice;
    std::size_t m_samplesPerCycle;
    RtpReceiver m_receiver;
    PacketRing m_outbox{4096};
    RtpStream m_stream;
    RtpHistory m_history;
    RedWriter m_red;
    bool m_takesRed = false;
    RtcpReports m_reports;
    MissingPackets m_missing;
    std::unique_ptr<SrtpSession> m_srtp;
    std::array<DatagramPath, maxPaths> m_paths = {}; ///< the newest last
    std::size_t m_pathCount = 0;
    std::optional<DatagramPath> m_selected;
    std::uint32_t m_selectedPriority = 0;
    Clock::time_point m_selectedHeard;
    Clock::time_point m_lastHeard;
    std::atomic<bool> m_isLost = false;
};

} // namespace wingbell
