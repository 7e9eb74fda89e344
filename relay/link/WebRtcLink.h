#pragma once

#include "relay/audio/PacketRing.h"
#include "relay/link/GlibPointer.h"
#include "relay/link/MediaLink.h"
#include "relay/link/PipelineReaper.h"
#include "relay/link/RtpStream.h"
#include "relay/link/SendingThread.h"

#include <atomic>
#include <mutex>

namespace wingbell {

/// A link to a browser: addresses, encryption and transport by GStreamer's webrtcbin, one pipeline
/// each. What is sent and received stays RTP: mixing and jitter are not its business.
class WebRtcLink final : public MediaLink,
                         public SendingThread::Sender,
                         public std::enable_shared_from_this<WebRtcLink>
{
    struct Private
    {
    };

public:
    struct Settings
    {
        std::size_t samplesPerTick = 960;
        /// Also (and then only) offers 127.0.0.1: a machine without any network has no other way.
        bool loopback = false;
    };

    /// Who does for all links what takes time.
    struct Threads
    {
        PipelineReaper& reaper;
        SendingThread& sending;
    };

    /// A new link. Borrows `threads`, which must outlive it. Nothing when the media library lacks
    /// something it needs.
    [[nodiscard]] static std::shared_ptr<WebRtcLink>
    make(const Settings& settings, RtpReceiver receiver, const Threads& threads);

    WebRtcLink(
        Private, const Settings& settings, RtpReceiver receiver, const Threads& threads,
        GstPointer<GstElement> pipeline, GstElement* connection, GstElement* source);
    ~WebRtcLink() override;
    Q_DISABLE_COPY_MOVE(WebRtcLink)

    void makeOffer(OfferReady ready) override;
    void takeAnswer(const QByteArray& answer, IsPeer isPeer) override;
    [[nodiscard]] State state() const override { return m_state.load(); }
    void close() override;
    void send(std::span<const std::uint8_t> packet) override;
    void sendWaiting() override;

private:
    using Weak = std::weak_ptr<WebRtcLink>;
    /// What the media library's callbacks hold: it may outlive the link.
    struct Receiving;

    void prepareConnection(bool loopback);
    void askForOffer();
    void offerMade(GstPromise* promise);
    void lookAtGathering();
    void lookAtState();
    [[nodiscard]] bool isPeer();
    void tellOffer(std::optional<QByteArray> offer);
    void push(std::span<const std::uint8_t> packet);
    [[nodiscard]] GstClockTime timeOfNextPacket();

    std::size_t m_samplesPerTick;
    Threads m_threads;
    std::shared_ptr<Receiving> m_receiving;
    GstPointer<GstElement> m_pipeline;
    GstPointer<GstElement> m_connection;
    GstPointer<GstElement> m_source;
    std::atomic<State> m_state = State::Waiting;
    std::atomic<bool> m_isOpen = false;
    std::atomic<bool> m_isOffered = false;
    std::mutex m_peerMutex;
    IsPeer m_isPeer;
    OfferReady m_ready; ///< main thread only
    PacketRing m_outbox{16};
    RtpStream m_stream; ///< sending thread only, and so is what follows
    GstClockTime m_packetTime = GST_CLOCK_TIME_NONE;
};

} // namespace wingbell
