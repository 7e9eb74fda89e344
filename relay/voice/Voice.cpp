#include "relay/voice/Voice.h"

#include "relay/voice/Mixing.h"
#include "relay/voice/RtpPacket.h"

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
}

void Voice::discard()
{
    takePackets();
    m_receiver.discard(m_samples.size());
    m_isSounding = false;
}

void Voice::takePackets()
{
    // Bounded although more may come meanwhile.
    for (std::size_t taken = 0; taken < m_packets.maxPackets(); ++taken) {
        const std::span<const std::uint8_t> bytes = m_packets.first();
        if (bytes.empty()) {
            return;
        }
        const std::optional<RtpPacket> packet = readRtpPacket(bytes);
        if (packet && m_receiver.insert(*packet)) {
            ++m_receivedPackets;
        }
        m_packets.removeFirst();
    }
}

void Voice::send(std::span<float> mix)
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
