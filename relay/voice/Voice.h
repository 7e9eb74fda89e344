#pragma once

#include "relay/voice/ChannelSet.h"
#include "relay/voice/PacketRing.h"
#include "relay/voice/PacketSink.h"
#include "relay/voice/VoiceEncoder.h"
#include "relay/voice/VoiceReceiver.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

namespace wingbell {

/// One voice in a room: what comes from it and what goes to it.
class Voice
{
public:
    Voice(
        ChannelSet mayTalk, ChannelSet mayListen, std::size_t samplesPerTick,
        std::shared_ptr<PacketSink> sink);

    [[nodiscard]] const ChannelSet& mayTalk() const { return m_mayTalk; }
    [[nodiscard]] const ChannelSet& mayListen() const { return m_mayListen; }

    /// Takes an RTP packet for the next tick; any bytes are safe. One thread at a time; does not
    /// wait for a tick.
    void receive(std::span<const std::uint8_t> rtp) { m_packets.put(rtp); }

    /// How many packets of Opus had come by the last tick. Any thread.
    [[nodiscard]] std::uint64_t receivedPackets() const { return m_receivedPackets; }

    /// Takes the sink away. Any thread; waits for a packet that is just being sent.
    [[nodiscard]] std::shared_ptr<PacketSink> takeSink();

    // On the mixing thread only, each once a tick:

    /// Makes the samples of this tick.
    void play();

    /// Lets this tick's samples pass.
    void discard();

    /// Of this tick.
    [[nodiscard]] std::span<const float> samples() const { return m_samples; }

    /// Whether samples() are more than silence.
    [[nodiscard]] bool isSounding() const { return m_isSounding; }

    /// Soft-clips `mix` and sends it to the sink; does not wait for it to be taken away.
    void send(std::span<float> mix);
    void sendSilence();

private:
    void takePackets();
    void sendPacket(std::span<const std::uint8_t> packet);

    const ChannelSet m_mayTalk;
    const ChannelSet m_mayListen;

    PacketRing m_packets{32};
    std::atomic<std::uint64_t> m_receivedPackets{0};
    VoiceReceiver m_receiver;
    std::vector<float> m_samples;
    bool m_isSounding = false;
    VoiceEncoder m_encoder;

    std::mutex m_sinkMutex;
    std::shared_ptr<PacketSink> m_sink;
};

} // namespace wingbell
