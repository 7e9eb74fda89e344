#include "relay/link/WebRtcLink.h"

#include "relay/audio/AudioIo.h"
#include "relay/link/SessionDescription.h"

namespace wingbell {

WebRtcLink::WebRtcLink(
    MediaTransport& transport, MediaTransport::Slot slot, std::shared_ptr<MediaPeer> peer)
    : m_transport(transport)
    , m_slot(slot)
    , m_peer(std::move(peer))
    , m_dtls(transport.dtls(), [this](std::span<const std::uint8_t> datagram) {
        if (m_path) {
            m_transport.sendOne(*m_path, datagram);
        }
    })
{
    m_dtlsTimer.setSingleShot(true);
    m_dtlsTimer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_dtlsTimer, &QTimer::timeout, &m_dtlsTimer, [this] {
        m_dtls.handleTimeout();
        lookAtHandshake();
    });
}

WebRtcLink::~WebRtcLink()
{
    close();
}

QByteArray WebRtcLink::offer() const
{
    SessionDescription description;
    description.ice = m_peer->ice();
    description.fingerprint = m_transport.dtls().fingerprint();
    description.source = m_peer->source();
    description.addresses = m_transport.settings().addresses();
    description.port = m_transport.port();
    description.packetMilliseconds =
        static_cast<int>(m_transport.settings().samplesPerCycle * 1000 / sampleRate);
    return description.offer();
}

void WebRtcLink::takeAnswer(const MediaAnswer& answer, RtpReceiver receiver)
{
    if (!m_answer && !m_isClosed) {
        m_answer = answer;
        m_receiver = std::move(receiver);
        beginIfReachable();
    }
}

MediaLink::State WebRtcLink::state() const
{
    switch (m_dtls.state()) {
    case DtlsConnection::State::Forged:
        return State::Forged;
    case DtlsConnection::State::Closed:
        return State::HungUp;
    case DtlsConnection::State::Handshaking:
        return State::Waiting;
    case DtlsConnection::State::Connected:
        break;
    }
    return m_peer->isLost() ? State::Lost : State::Connected;
}

void WebRtcLink::close()
{
    if (m_isClosed) {
        return;
    }
    m_isClosed = true;
    m_isConnected = false;
    m_dtlsTimer.stop();
    m_dtls.close();
    m_transport.give({MediaTransport::Command::Kind::Remove, m_slot, nullptr, nullptr, {}, false});
}

void WebRtcLink::send(std::span<const std::uint8_t> packet)
{
    if (m_isConnected && m_peer->put(packet)) {
        m_transport.wake();
    }
}

void WebRtcLink::takeDtls(const DatagramPath& path, std::span<const std::uint8_t> datagram)
{
    if (m_isClosed) {
        return;
    }
    m_path = path;
    beginIfReachable();
    if (!datagram.empty()) {
        m_dtls.take(datagram);
    }
    lookAtHandshake();
}

/// The peer that waits for us to begin must be reachable first.
void WebRtcLink::beginIfReachable()
{
    if (!m_hasBegun && m_answer && m_path) {
        m_hasBegun = true;
        m_dtls.begin(m_answer->fingerprint, m_answer->isActive);
        lookAtHandshake();
    }
}

void WebRtcLink::lookAtHandshake()
{
    if (const auto timeout = m_dtls.timeout()) {
        m_dtlsTimer.start(*timeout);
    } else {
        m_dtlsTimer.stop();
    }
    if (m_isConnected || m_dtls.state() != DtlsConnection::State::Connected) {
        return;
    }
    const std::optional<SrtpKeys> keys = m_dtls.srtpKeys();
    auto srtp = keys ? SrtpSession::make(*keys, m_peer->source(), m_answer->sources) : nullptr;
    if (!srtp) {
        m_dtls.close();
        return;
    }
    m_transport.give(
        {MediaTransport::Command::Kind::Start, m_slot, nullptr, std::move(srtp),
         std::move(m_receiver), m_answer->takesRed});
    m_isConnected = true;
}

} // namespace wingbell
