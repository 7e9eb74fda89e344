#pragma once

#include "relay/link/DtlsConnection.h"
#include "relay/link/MediaTransport.h"

#include <QTimer>

#include <atomic>

namespace wingbell {

/// The media connection to a browser: shakes hands on the main thread, and has the transport carry
/// the media.
class WebRtcLink final : public MediaLink
{
public:
    /// For MediaTransport::makeLink(). Borrows `transport`.
    WebRtcLink(
        MediaTransport& transport, MediaTransport::Slot slot, std::shared_ptr<MediaPeer> peer);
    ~WebRtcLink() override;
    Q_DISABLE_COPY_MOVE(WebRtcLink)

    [[nodiscard]] QByteArray offer() const override;
    void takeAnswer(const MediaAnswer& answer, RtpReceiver receiver) override;
    [[nodiscard]] State state() const override;
    void close() override;
    void send(std::span<const std::uint8_t> packet) override;

    /// The SSRC of what is sent.
    [[nodiscard]] std::uint32_t source() const { return m_peer->source(); }

    /// Takes a datagram of the handshake from `path`; an empty one tells that the peer can be
    /// reached there.
    void takeDtls(const DatagramPath& path, std::span<const std::uint8_t> datagram);

private:
    void beginIfReachable();
    void lookAtHandshake();

    MediaTransport& m_transport;
    MediaTransport::Slot m_slot;
    std::shared_ptr<MediaPeer> m_peer;
    DtlsConnection m_dtls;
    QTimer m_dtlsTimer;
    std::optional<DatagramPath> m_path; ///< on which the handshake goes
    std::optional<MediaAnswer> m_answer;
    RtpReceiver m_receiver;
    bool m_hasBegun = false;
    std::atomic<bool> m_isConnected = false;
    bool m_isClosed = false;
};

} // namespace wingbell
