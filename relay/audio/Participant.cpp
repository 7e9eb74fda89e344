#include "relay/audio/Participant.h"

#include "relay/audio/Dsp.h"
#include "relay/audio/RtpPacket.h"

#include <optional>
#include <utility>

namespace wingbell {

namespace {

/// Below the smallest step of 16 bits it is silence.
constexpr float silenceLevel = 1.0F / 32768;

constexpr int maxPacketsPerCycle = 32;

} // namespace

Participant::Participant(
    ChannelSet mayTalk, ChannelSet mayListen, std::size_t samplesPerCycle,
    std::shared_ptr<PacketSink> sink)
    : m_mayTalk(std::move(mayTalk))
    , m_mayListen(std::move(mayListen))
    , m_samples(samplesPerCycle)
    , m_encoder(std::make_unique<MixEncoder>(samplesPerCycle))
    , m_sink(std::move(sink))
{
}

std::shared_ptr<PacketSink> Participant::takeSink()
{
    const std::lock_guard lock(m_sinkMutex);
    return std::exchange(m_sink, nullptr);
}

void Participant::play()
{
    takePackets();
    m_receiver.play(m_samples);
    m_isSounding = peakOf(m_samples) > silenceLevel;
    if (m_speech.process(m_samples)) {
        ++m_speechCycles;
    }
}

void Participant::discard()
{
    takePackets();
    m_receiver.discard(m_samples.size());
    m_isSounding = false;
}

void Participant::takePackets()
{
    // Bounded, although more may arrive meanwhile.
    for (int taken = 0; taken < maxPacketsPerCycle; ++taken) {
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

void Participant::send(std::span<const std::uint8_t> packet)
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
