#include "relay/link/MediaPeer.h"

#include "relay/audio/RtpPacket.h"

#include <QRandomGenerator>

#include <algorithm>

namespace wingbell {

namespace {

/// The second byte of RTCP, which shares the way with RTP (RFC 5761).
bool isRtcp(std::span<const std::uint8_t> packet)
{
    return packet.size() > 1 && packet[1] >= 192 && packet[1] <= 223;
}

/// Above this share of losses two copies are sent.
constexpr float manyLost = 0.15F;

} // namespace

MediaPeer::MediaPeer(IceCredentials ice, std::size_t samplesPerCycle)
    : m_ice(std::move(ice))
    , m_samplesPerCycle(samplesPerCycle)
    , m_stream(
          QRandomGenerator::global()->generate(),
          static_cast<std::uint16_t>(QRandomGenerator::global()->bounded(0x8000)),
          QRandomGenerator::global()->generate())
    , m_reports(m_stream.source())
    , m_lastHeard(Clock::now())
{
}

std::optional<DatagramPath>
MediaPeer::checked(const DatagramPath& path, const ConnectivityCheck& check, Clock::time_point now)
{
    m_lastHeard = now;
    std::optional<DatagramPath> forgotten;
    const auto end = m_paths.begin() + static_cast<std::ptrdiff_t>(m_pathCount);
    if (std::find(m_paths.begin(), end, path) == end) {
        if (m_pathCount == maxPaths) {
            // The oldest that is not in use.
            const auto oldest =
                m_selected == m_paths.front() ? m_paths.begin() + 1 : m_paths.begin();
            forgotten = *oldest;
            std::rotate(oldest, oldest + 1, end);
            --m_pathCount;
        }
        m_paths[m_pathCount++] = path;
    }
    if (m_selected == path) {
        m_selectedPriority = check.priority;
    } else if (check.nominates && isBetter(path, check, now)) {
        m_selectedPriority = check.priority;
        select(path, now);
    }
    return forgotten;
}

/// Whether a nominated way is to be taken instead of the selected one. The ways of a phone that has
/// moved are newer; one that talks is followed by its media.
bool MediaPeer::isBetter(
    const DatagramPath& path, const ConnectivityCheck& check, Clock::time_point now) const
{
    if (!m_selected || now - m_selectedHeard > inUse) {
        return true;
    }
    if (!m_srtp) {
        return check.priority > m_selectedPriority;
    }
    const auto newer = std::find(m_paths.begin(), m_paths.end(), *m_selected);
    return now - m_selectedHeard > audioGap &&
           std::find(newer, m_paths.end(), path) != m_paths.end();
}

/// A browser sends its media on the way that it has chosen, also when it has changed networks: what
/// is sent to it follows.
void MediaPeer::takeMedia(
    const DatagramPath& path, std::span<std::uint8_t> packet, DatagramSocket& socket,
    Clock::time_point now)
{
    if (!m_srtp) {
        return;
    }
    const bool control = isRtcp(packet);
    const std::span<std::uint8_t> plain =
        control ? m_srtp->unprotectRtcp(packet) : m_srtp->unprotectRtp(packet);
    if (plain.empty()) {
        return;
    }
    m_lastHeard = now;
    select(path, now);
    if (control) {
        for (const std::uint16_t sequence : m_reports.take(plain, now)) {
            sendAgain(sequence, socket, now);
        }
        return;
    }
    m_reports.received(plain, now);
    takeRtp(plain, socket, now);
}

/// Only what was agreed on goes further.
void MediaPeer::takeRtp(
    std::span<const std::uint8_t> plain, DatagramSocket& socket, Clock::time_point now)
{
    const auto packet = readRtpPacket(plain);
    OpusPackets packets;
    if (!packet || !readOpusPackets(*packet, packets)) {
        return;
    }
    m_receiver(plain);
    m_missing.received(*packet, packets.copyCount, now);
    askForMissing(socket, now);
}

void MediaPeer::select(const DatagramPath& path, Clock::time_point now)
{
    m_selected = path;
    m_selectedHeard = now;
}

/// As it was: to protect a packet twice would be a second message under the same nonce.
void MediaPeer::sendAgain(std::uint16_t sequence, DatagramSocket& socket, Clock::time_point now)
{
    const std::span<const std::uint8_t> packet = m_history.sendAgain(sequence, now);
    if (!packet.empty()) {
        const auto space = socket.space();
        std::copy(packet.begin(), packet.end(), space.begin());
        socket.queue(*m_selected, packet.size());
    }
}

void MediaPeer::sendWaiting(DatagramSocket& socket, Clock::time_point now)
{
    for (auto packet = m_outbox.first(); !packet.empty(); packet = m_outbox.first()) {
        if (maySend()) {
            send(packet, socket, now);
        }
        m_outbox.removeFirst();
    }
    askForMissing(socket, now);
}

void MediaPeer::send(
    std::span<const std::uint8_t> opus, DatagramSocket& socket, Clock::time_point now)
{
    constexpr std::size_t maxPayload =
        DatagramSocket::maxDatagram - RtpStream::headerSize - SrtpSession::maxOverhead;
    if (opus.size() + RedWriter::maxOverhead > maxPayload) {
        return; // not a packet of voice
    }
    const std::size_t copies = copiesToSend();
    const auto samples = static_cast<std::uint32_t>(m_samplesPerCycle);
    const RtpStream::Header header =
        m_stream.next(copies > 0 ? redPayloadType : opusPayloadType, samples);
    const auto space = socket.space();
    std::copy(header.begin(), header.end(), space.begin());
    const auto payload = space.subspan(header.size());
    std::size_t size = opus.size();
    if (copies > 0) {
        size = m_red.write(opus, copies, payload);
    } else {
        std::copy(opus.begin(), opus.end(), payload.begin());
    }
    m_red.keep(opus, samples);
    m_reports.sent(m_stream.timestamp() - samples, size, now);
    const auto protectedPacket = m_srtp->protectRtp(space, header.size() + size);
    if (!protectedPacket.empty()) {
        m_history.keep(RtpStream::sequenceOf(header), protectedPacket);
        socket.queue(*m_selected, protectedPacket.size());
    }
}

std::size_t MediaPeer::copiesToSend() const
{
    if (!m_takesRed || !m_history.loss().isHigh()) {
        return 0;
    }
    return m_history.loss().value() > manyLost ? RedWriter::maxCopies : 1;
}

void MediaPeer::report(DatagramSocket& socket, Clock::time_point now)
{
    if (now - m_lastHeard > consentTimeout) {
        m_isLost = true;
    }
    if (!maySend()) {
        return;
    }
    const auto plain = m_reports.write(
        socket.space().first<RtcpReports::maxReport>(), now, std::chrono::system_clock::now());
    sendControl(socket, plain.size());
}

void MediaPeer::askForMissing(DatagramSocket& socket, Clock::time_point now)
{
    if (!maySend()) {
        return;
    }
    const std::span<const std::uint16_t> numbers = m_missing.due(now);
    if (!numbers.empty()) {
        const auto plain = m_reports.writeNack(socket.space(), m_missing.source(), numbers);
        sendControl(socket, plain.size());
    }
}

/// What stands in the socket's space.
void MediaPeer::sendControl(DatagramSocket& socket, std::size_t size)
{
    const auto protectedPacket = m_srtp->protectRtcp(socket.space(), size);
    if (!protectedPacket.empty()) {
        socket.queue(*m_selected, protectedPacket.size());
    }
}

} // namespace wingbell
