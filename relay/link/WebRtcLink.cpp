#include "relay/link/WebRtcLink.h"

#include "relay/audio/AudioIo.h"
#include "relay/link/SourceLimit.h"

#include <gst/app/gstappsrc.h>
#include <gst/sdp/sdp.h>
#define GST_USE_UNSTABLE_API
#include <gst/webrtc/webrtc.h>

#include <QCoreApplication>
#include <QRandomGenerator>

namespace wingbell {

namespace {

/// How many packets may wait to be sent before the oldest are given up: 200 ms.
constexpr guint64 mostWaitingPackets = 10;

/// In the pipeline's time: beyond this the packets' times are reset, as after a suspend.
constexpr GstClockTime mostTimeOff = 100 * GST_MSECOND;

/// What a signal's handler keeps: freed with the handler.
template <typename Kept> struct Handler
{
    static void forget(gpointer data, GClosure* /*closure*/) { delete static_cast<Kept*>(data); }
};

template <typename Kept>
void connectKeeping(gpointer object, const char* signal, GCallback callback, Kept kept)
{
    g_signal_connect_data(
        object, signal, callback, new Kept(std::move(kept)), Handler<Kept>::forget,
        GConnectFlags{});
}

/// Only what was agreed on goes further; whatever else is sent under another type is none of it.
bool isVoice(std::span<const std::uint8_t> packet)
{
    return packet.size() > RtpStream::headerSize && (packet[1] & 0x7FU) == RtpStream::payloadType;
}

GstPointer<GstCaps> rtpCaps(std::uint32_t source, std::size_t samplesPerPacket)
{
    const QByteArray milliseconds =
        QByteArray::number(static_cast<int>(samplesPerPacket * 1000 / sampleRate));
    return GstPointer<GstCaps>(gst_caps_new_simple(
        "application/x-rtp", "media", G_TYPE_STRING, "audio", "encoding-name", G_TYPE_STRING,
        "OPUS", "payload", G_TYPE_INT, int{RtpStream::payloadType}, "clock-rate", G_TYPE_INT, 48000,
        "encoding-params", G_TYPE_STRING, "2", "minptime", G_TYPE_STRING, "10", "useinbandfec",
        G_TYPE_STRING, "1", "a-ptime", G_TYPE_STRING, milliseconds.constData(), "ssrc", G_TYPE_UINT,
        source, nullptr));
}

/// The messages of a pipeline are not read: they are dropped at once, or they would pile up.
GstBusSyncReply forgetMessage(GstBus* /*bus*/, GstMessage* message, gpointer /*data*/)
{
    gst_message_unref(message);
    return GST_BUS_DROP;
}

std::optional<QByteArray> descriptionText(GstElement* connection)
{
    GstWebRTCSessionDescription* description = nullptr;
    g_object_get(connection, "local-description", &description, nullptr);
    if (description == nullptr) {
        return std::nullopt;
    }
    gchar* text = gst_sdp_message_as_text(description->sdp);
    QByteArray result(text);
    g_free(text);
    gst_webrtc_session_description_free(description);
    return result;
}

template <typename Object> GstPointer<Object> objectIn(gpointer owner, const char* property)
{
    Object* object = nullptr;
    if (owner != nullptr) {
        g_object_get(owner, property, &object, nullptr);
    }
    return GstPointer<Object>(object);
}

/// As PEM; empty before there is one.
QByteArray peerCertificate(GstElement* connection)
{
    GstWebRTCRTPTransceiver* first = nullptr;
    g_signal_emit_by_name(connection, "get-transceiver", 0, &first);
    const GstPointer<GstWebRTCRTPTransceiver> transceiver(first);
    const auto receiver = objectIn<GstWebRTCRTPReceiver>(transceiver.get(), "receiver");
    const auto transport = objectIn<GstWebRTCDTLSTransport>(receiver.get(), "transport");
    if (!transport) {
        return {};
    }
    gchar* pem = nullptr;
    g_object_get(transport.get(), "remote-certificate", &pem, nullptr);
    QByteArray certificate(pem);
    g_free(pem);
    return certificate;
}

GstPadProbeReturn dropSurplusSources(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer data)
{
    GstMapInfo map = {};
    GstBuffer* buffer = gst_pad_probe_info_get_buffer(info);
    if (gst_buffer_map(buffer, &map, GST_MAP_READ) == FALSE) {
        return GST_PAD_PROBE_DROP;
    }
    const bool admitted = static_cast<SourceLimit*>(data)->admits({map.data, map.size});
    gst_buffer_unmap(buffer, &map);
    return admitted ? GST_PAD_PROBE_OK : GST_PAD_PROBE_DROP;
}

void limitSources(GstElement* decryption)
{
    for (const char* name : {"rtp_sink", "rtcp_sink"}) {
        const GstPointer<GstPad> pad(gst_element_get_static_pad(decryption, name));
        if (pad) {
            gst_pad_add_probe(
                pad.get(), GST_PAD_PROBE_TYPE_BUFFER, dropSurplusSources, new SourceLimit,
                [](gpointer limit) { delete static_cast<SourceLimit*>(limit); });
        }
    }
}

/// Changes what the library has built for itself and gives no other way to.
void prepareElement(GstBin* /*bin*/, GstBin* /*inner*/, GstElement* element, gpointer /*data*/)
{
    const GstElementFactory* factory = gst_element_get_factory(element);
    const gchar* kind = factory == nullptr ? nullptr : GST_OBJECT_NAME(factory);
    if (g_strcmp0(kind, "clocksync") == 0) {
        // Each packet is made at the moment at which it is to go. This would hold each back until
        // its time by a clock of its own, for good as late as the first one was: a packet's length.
        g_object_set(element, "sync", FALSE, nullptr);
    } else if (g_strcmp0(kind, "srtpdec") == 0) {
        limitSources(element);
    }
}

/// Plain addresses over UDP are all that a crew on one network needs; each further kind would cost
/// descriptors for every crew member.
void limitAddresses(GstElement* connection, bool loopback)
{
    GObject* ice = nullptr;
    g_object_get(connection, "ice-agent", &ice, nullptr);
    if (ice == nullptr) {
        return;
    }
    GObject* agent = nullptr;
    g_object_get(ice, "agent", &agent, nullptr);
    if (agent != nullptr) {
        g_object_set(agent, "ice-tcp", FALSE, "upnp", FALSE, nullptr);
        g_object_unref(agent);
    }
    if (loopback) {
        gboolean added = FALSE;
        g_signal_emit_by_name(ice, "add-local-ip-address", "127.0.0.1", &added);
    }
    g_object_unref(ice);
}

} // namespace

/// Stands between the media library's thread and the receiver, which may be gone already.
struct WebRtcLink::Receiving
{
    std::mutex mutex;
    RtpReceiver receiver; ///< empty once the link is closed
    /// The library hands on what it can decrypt before anyone has seen the peer's certificate.
    std::atomic<bool> isPeerProven = false;

    void receive(GstBuffer* buffer)
    {
        GstMapInfo map = {};
        if (gst_buffer_map(buffer, &map, GST_MAP_READ) == FALSE) {
            return;
        }
        if (isPeerProven && isVoice({map.data, map.size})) {
            const std::lock_guard lock(mutex);
            if (receiver) {
                receiver({map.data, map.size});
            }
        }
        gst_buffer_unmap(buffer, &map);
    }

    /// Takes each packet before the library's own jitter buffer, which would give up what comes in
    /// another order; its statistics have seen the packet by then.
    static GstPadProbeReturn takePacket(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer data)
    {
        auto& receiving = **static_cast<std::shared_ptr<Receiving>*>(data);
        if ((info->type & GST_PAD_PROBE_TYPE_BUFFER_LIST) != 0) {
            GstBufferList* list = gst_pad_probe_info_get_buffer_list(info);
            for (guint index = 0; index < gst_buffer_list_length(list); ++index) {
                receiving.receive(gst_buffer_list_get(list, index));
            }
        } else {
            receiving.receive(gst_pad_probe_info_get_buffer(info));
        }
        return GST_PAD_PROBE_DROP;
    }

    static void
    watchJitterBuffer(GstElement* /*bin*/, GstElement* buffer, guint, guint, gpointer data)
    {
        const GstPointer<GstPad> pad(gst_element_get_static_pad(buffer, "sink"));
        auto* kept =
            new std::shared_ptr<Receiving>(*static_cast<std::shared_ptr<Receiving>*>(data));
        gst_pad_add_probe(
            pad.get(),
            static_cast<GstPadProbeType>(
                GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_BUFFER_LIST),
            takePacket, kept,
            [](gpointer owned) { delete static_cast<std::shared_ptr<Receiving>*>(owned); });
    }
};

std::shared_ptr<WebRtcLink>
WebRtcLink::make(const Settings& settings, RtpReceiver receiver, const Threads& threads)
{
    GstElement* connection = gst_element_factory_make("webrtcbin", nullptr);
    GstElement* source = gst_element_factory_make("appsrc", nullptr);
    if (connection == nullptr || source == nullptr) {
        gst_clear_object(&connection);
        gst_clear_object(&source);
        return nullptr;
    }
    GstPointer<GstElement> pipeline(GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new(nullptr))));
    gst_bin_add_many(GST_BIN(pipeline.get()), source, connection, nullptr);
    auto link = std::make_shared<WebRtcLink>(
        Private{}, settings, std::move(receiver), threads, std::move(pipeline), connection, source);
    link->prepareConnection(settings.loopback);
    threads.sending.add(link);
    return link;
}

WebRtcLink::WebRtcLink(
    Private, const Settings& settings, RtpReceiver receiver, const Threads& threads,
    GstPointer<GstElement> pipeline, GstElement* connection, GstElement* source)
    : m_samplesPerTick(settings.samplesPerTick)
    , m_threads(threads)
    , m_receiving(std::make_shared<Receiving>())
    , m_pipeline(std::move(pipeline))
    , m_connection(GST_ELEMENT(gst_object_ref(connection)))
    , m_source(GST_ELEMENT(gst_object_ref(source)))
    , m_stream(
          QRandomGenerator::global()->generate(),
          static_cast<std::uint16_t>(QRandomGenerator::global()->bounded(0x8000)),
          QRandomGenerator::global()->generate())
{
    m_receiving->receiver = std::move(receiver);
}

WebRtcLink::~WebRtcLink()
{
    close();
}

void WebRtcLink::prepareConnection(bool loopback)
{
    const GstPointer<GstBus> bus(gst_element_get_bus(m_pipeline.get()));
    gst_bus_set_sync_handler(bus.get(), forgetMessage, nullptr, nullptr);

    const GstPointer<GstCaps> caps = rtpCaps(m_stream.source(), m_samplesPerTick);
    g_object_set(
        m_source.get(), "is-live", TRUE, "format", GST_FORMAT_TIME, "caps", caps.get(),
        "max-buffers", mostWaitingPackets, "max-bytes", guint64{0}, "leaky-type",
        GST_APP_LEAKY_TYPE_DOWNSTREAM, nullptr);
    g_object_set(
        m_connection.get(), "bundle-policy", GST_WEBRTC_BUNDLE_POLICY_MAX_BUNDLE, "latency", 0U,
        nullptr);
    limitAddresses(m_connection.get(), loopback);

    const GstPointer<GstElement> bin(gst_bin_get_by_name(GST_BIN(m_connection.get()), "rtpbin"));
    if (bin) {
        connectKeeping(
            bin.get(), "new-jitterbuffer", G_CALLBACK(&Receiving::watchJitterBuffer), m_receiving);
    }
    g_signal_connect(m_connection.get(), "deep-element-added", G_CALLBACK(prepareElement), nullptr);
    gst_element_link(m_source.get(), m_connection.get());
}

void WebRtcLink::makeOffer(OfferReady ready)
{
    m_ready = std::move(ready);
    // Made before the library asks for it, an offer has no sound in it.
    const auto needed = +[](GstElement*, gpointer data) {
        if (const auto link = static_cast<Weak*>(data)->lock()) {
            link->askForOffer();
        }
    };
    const auto gathered = +[](GstElement*, GParamSpec*, gpointer data) {
        if (const auto link = static_cast<Weak*>(data)->lock()) {
            link->lookAtGathering();
        }
    };
    const auto changed = +[](GstElement*, GParamSpec*, gpointer data) {
        if (const auto link = static_cast<Weak*>(data)->lock()) {
            link->lookAtState();
        }
    };
    GstElement* connection = m_connection.get();
    connectKeeping(connection, "on-negotiation-needed", G_CALLBACK(needed), weak_from_this());
    connectKeeping(
        connection, "notify::ice-gathering-state", G_CALLBACK(gathered), weak_from_this());
    connectKeeping(connection, "notify::connection-state", G_CALLBACK(changed), weak_from_this());
    m_isOpen = true;
    gst_element_set_state(m_pipeline.get(), GST_STATE_PLAYING);
}

/// On a thread of the media library, as are the next ones.
void WebRtcLink::askForOffer()
{
    if (m_isOffered.exchange(true)) {
        return;
    }
    const auto made = +[](GstPromise* promise, gpointer data) {
        if (const auto link = static_cast<Weak*>(data)->lock()) {
            link->offerMade(promise);
        }
        gst_promise_unref(promise);
    };
    GstPromise* promise = gst_promise_new_with_change_func(
        made, new Weak(weak_from_this()), [](gpointer data) { delete static_cast<Weak*>(data); });
    g_signal_emit_by_name(m_connection.get(), "create-offer", nullptr, promise);
}

void WebRtcLink::offerMade(GstPromise* promise)
{
    const GstStructure* reply = gst_promise_wait(promise) == GST_PROMISE_RESULT_REPLIED
                                    ? gst_promise_get_reply(promise)
                                    : nullptr;
    GstWebRTCSessionDescription* offer = nullptr;
    if (reply == nullptr ||
        gst_structure_get(reply, "offer", GST_TYPE_WEBRTC_SESSION_DESCRIPTION, &offer, nullptr) ==
            FALSE) {
        tellOffer(std::nullopt);
        return;
    }
    g_signal_emit_by_name(m_connection.get(), "set-local-description", offer, nullptr);
    gst_webrtc_session_description_free(offer);
}

void WebRtcLink::lookAtGathering()
{
    GstWebRTCICEGatheringState state = GST_WEBRTC_ICE_GATHERING_STATE_NEW;
    g_object_get(m_connection.get(), "ice-gathering-state", &state, nullptr);
    if (state == GST_WEBRTC_ICE_GATHERING_STATE_COMPLETE) {
        tellOffer(descriptionText(m_connection.get()));
    }
}

void WebRtcLink::lookAtState()
{
    GstWebRTCPeerConnectionState state = GST_WEBRTC_PEER_CONNECTION_STATE_NEW;
    g_object_get(m_connection.get(), "connection-state", &state, nullptr);
    if (state == GST_WEBRTC_PEER_CONNECTION_STATE_CONNECTED) {
        m_receiving->isPeerProven = isPeer();
        m_state = m_receiving->isPeerProven ? State::Connected : State::Forged;
    } else if (m_state == State::Forged) {
        return; // whatever becomes of it now
    } else if (
        state == GST_WEBRTC_PEER_CONNECTION_STATE_FAILED ||
        state == GST_WEBRTC_PEER_CONNECTION_STATE_CLOSED) {
        m_state = State::Lost;
    }
}

/// Whether the other end has the certificate that it was said to have.
bool WebRtcLink::isPeer()
{
    const QByteArray certificate = peerCertificate(m_connection.get());
    const std::lock_guard lock(m_peerMutex);
    return m_isPeer && m_isPeer(certificate);
}

void WebRtcLink::tellOffer(std::optional<QByteArray> offer)
{
    QMetaObject::invokeMethod(
        qApp,
        [weak = weak_from_this(), offer = std::move(offer)] {
            const auto link = weak.lock();
            if (link && link->m_ready && link->m_isOpen) {
                std::exchange(link->m_ready, nullptr)(offer);
            }
        },
        Qt::QueuedConnection);
}

void WebRtcLink::takeAnswer(const QByteArray& answer, IsPeer isPeer)
{
    if (!m_isOpen) {
        return;
    }
    {
        const std::lock_guard lock(m_peerMutex);
        m_isPeer = std::move(isPeer);
    }
    GstSDPMessage* message = nullptr;
    if (gst_sdp_message_new_from_text(answer.constData(), &message) != GST_SDP_OK) {
        return;
    }
    GstWebRTCSessionDescription* description =
        gst_webrtc_session_description_new(GST_WEBRTC_SDP_TYPE_ANSWER, message);
    g_signal_emit_by_name(m_connection.get(), "set-remote-description", description, nullptr);
    gst_webrtc_session_description_free(description);
}

void WebRtcLink::close()
{
    m_isOpen = false;
    m_ready = nullptr;
    {
        const std::lock_guard lock(m_receiving->mutex);
        m_receiving->receiver = nullptr;
    }
    if (m_pipeline) {
        m_threads.reaper.end(std::move(m_pipeline));
    }
}

/// The library's locks are not for the mixing thread: their holders may be kept waiting themselves.
void WebRtcLink::send(std::span<const std::uint8_t> packet)
{
    if (m_isOpen && m_state == State::Connected && m_outbox.put(packet)) {
        m_threads.sending.wake();
    }
}

void WebRtcLink::sendWaiting()
{
    for (auto packet = m_outbox.first(); !packet.empty(); packet = m_outbox.first()) {
        if (m_isOpen) {
            push(packet);
        }
        m_outbox.removeFirst();
    }
}

void WebRtcLink::push(std::span<const std::uint8_t> packet)
{
    const RtpStream::Header header = m_stream.next(static_cast<std::uint32_t>(m_samplesPerTick));
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, header.size() + packet.size(), nullptr);
    gst_buffer_fill(buffer, 0, header.data(), header.size());
    gst_buffer_fill(buffer, header.size(), packet.data(), packet.size());
    GST_BUFFER_PTS(buffer) = timeOfNextPacket();
    GST_BUFFER_DTS(buffer) = GST_BUFFER_PTS(buffer);
    gst_app_src_push_buffer(GST_APP_SRC(m_source.get()), buffer);
}

/// A steady time for each packet, near the present one: the other side learns from it how the
/// stream's time goes with the clock's.
GstClockTime WebRtcLink::timeOfNextPacket()
{
    const GstClockTime now = gst_element_get_current_running_time(m_source.get());
    const GstClockTime duration = gst_util_uint64_scale(m_samplesPerTick, GST_SECOND, sampleRate);
    const GstClockTime next = m_packetTime + duration;
    const bool isSteady =
        m_packetTime != GST_CLOCK_TIME_NONE && now < next + mostTimeOff && next < now + mostTimeOff;
    m_packetTime = isSteady ? next : now;
    return m_packetTime;
}

} // namespace wingbell
