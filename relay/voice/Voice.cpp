#include "relay/voice/Voice.h"

#include "relay/voice/Mixing.h"

#include <optional>
#include <utility>

namespace wingbell {

namespace {

/// What stays below the smallest step of 16 bits is silence.
constexpr float silenceLevel = 1.0F / 32768;

} // namespace

Voice::Voice(
    ChannelSet mayTalk, ChannelSet mayListen, std::size_t samplesPerTick,
    std::shared_ptr<PacketSink> sink)
    : m_mayTalk(std::move(mayTalk))
    , m_mayListen(std::move(mayListen))
    , m_samples(samplesPerTick)
    , m_encoder(samplesPerTick)
    , m_sink(std::move(sink))
{
}

VoiceStatistics Voice::statistics() const
{
    return {m_received.load(), m_lost.load(), m_late.load(), m_concealed.load(), m_depth.load()};
}

std::shared_ptr<PacketSink> Voice::takeSink()
{
    const std::lock_guard lock(m_sinkMutex);
    return std::exchange(m_sink, nullptr);
}

void Voice::play()
{
    takePackets();
    m_receiver.play(m_samples);
    m_isSounding = peakOf(m_samples) > silenceLevel;
    publish();
}

void Voice::discard()
{
    takePackets();
    m_receiver.discard(m_samples.size());
    m_isSounding = false;
    publish();
}

void Voice::takePackets()
{
    // Bounded although more may come meanwhile.
    for (std::size_t taken = 0; taken < PacketInbox::mostPackets; ++taken) {
        const std::optional<RtpPacket> packet = m_inbox.first();
        if (!packet) {
            return;
        }
        m_receiver.insert(*packet);
        m_inbox.removeFirst();
    }
}

void Voice::publish()
{
    const VoiceStatistics now = m_receiver.statistics();
    m_received = now.received;
    m_lost = now.lost;
    m_late = now.late;
    m_concealed = now.concealed;
    m_depth = now.depth;
}

void Voice::send(std::span<const float> mix)
{
    sendPacket(m_encoder.encode(mix));
}

void Voice::sendSilence()
{
    sendPacket(m_encoder.encodeSilence());
}

void Voice::sendPacket(std::span<const std::uint8_t> packet)
{
    if (packet.empty()) {
        return;
    }
    const std::unique_lock lock(m_sinkMutex, std::try_to_lock);
    if (lock.owns_lock() && m_sink) {
        m_sink->send(packet);
    }
}

} // namespace wingbell
