#pragma once

#include "relay/audio/AudioIo.h"
#include "relay/audio/ChannelSet.h"
#include "relay/audio/MixEncoder.h"
#include "relay/audio/OpusReceiver.h"
#include "relay/audio/PacketRing.h"
#include "relay/audio/SpeechDetector.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

namespace wingbell {

/// One participant in a room: the audio it sends and where its mix goes.
class Participant
{
public:
    Participant(
        ChannelSet mayTalk, ChannelSet mayListen, std::size_t samplesPerCycle,
        std::shared_ptr<PacketSink> sink);

    [[nodiscard]] const ChannelSet& mayTalk() const { return m_mayTalk; }
    [[nodiscard]] const ChannelSet& mayListen() const { return m_mayListen; }

    /// Takes an RTP packet for the next cycle; any bytes are safe. One thread at a time; does not
    /// wait for a cycle.
    void receive(std::span<const std::uint8_t> rtp) { m_packets.put(rtp); }

    /// How many packets of Opus had come, and how many cycles had speech in them, by the last
    /// cycle. Any thread.
    [[nodiscard]] std::uint64_t receivedPackets() const { return m_receivedPackets; }
    [[nodiscard]] std::uint64_t speechCycles() const { return m_speechCycles; }

    /// Takes the sink away. Any thread; waits for a packet that is being sent.
    [[nodiscard]] std::shared_ptr<PacketSink> takeSink();

    // Mixer thread only:

    /// The encoder that it brings to the mixer, which gives one back when it leaves: so an encoder
    /// is built and destroyed where the participant is.
    [[nodiscard]] std::unique_ptr<MixEncoder> takeEncoder() { return std::move(m_encoder); }
    void giveEncoder(std::unique_ptr<MixEncoder> encoder) { m_encoder = std::move(encoder); }

    // Mixer thread only, each once a cycle:

    /// Decodes the samples of this cycle.
    void play();

    /// Drops the samples of this cycle without decoding them.
    void discard();

    /// Of this cycle.
    [[nodiscard]] std::span<const float> samples() const { return m_samples; }

    /// Whether samples() are not silent.
    [[nodiscard]] bool isSounding() const { return m_isSounding; }

    /// Sends `packet` to the sink. Sends nothing if it is empty, or while the sink is being taken
    /// away.
    void send(std::span<const std::uint8_t> packet);

private:
    void takePackets();

    const ChannelSet m_mayTalk;
    const ChannelSet m_mayListen;

    PacketRing m_packets{8192};
    std::atomic<std::uint64_t> m_receivedPackets{0};
    std::atomic<std::uint64_t> m_speechCycles{0};
    OpusReceiver m_receiver;
    std::vector<float> m_samples;
    bool m_isSounding = false;
    SpeechDetector m_speech;
    std::unique_ptr<MixEncoder> m_encoder;

    std::mutex m_sinkMutex;
    std::shared_ptr<PacketSink> m_sink;
};

} // namespace wingbell
