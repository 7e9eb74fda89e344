#pragma once

#include "relay/voice/ChannelSet.h"
#include "relay/voice/PacketInbox.h"
#include "relay/voice/PacketSink.h"
#include "relay/voice/RtpPacket.h"
#include "relay/voice/VoiceEncoder.h"
#include "relay/voice/VoiceReceiver.h"
#include "relay/voice/VoiceStatistics.h"

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

    /// Takes a packet for the next tick. Any thread; does not wait for a tick.
    void receive(const RtpPacket& packet) { m_inbox.put(packet); }

    /// As of the last tick. Any thread.
    [[nodiscard]] VoiceStatistics statistics() const;

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

    /// Sends what is heard to the sink; does not wait for it to be taken away.
    void send(std::span<const float> mix);
    void sendSilence();

private:
    void takePackets();
    void publish();
    void sendPacket(std::span<const std::uint8_t> packet);

    const ChannelSet m_mayTalk;
    const ChannelSet m_mayListen;

    PacketInbox m_inbox;
    VoiceReceiver m_receiver;
    std::vector<float> m_samples;
    bool m_isSounding = false;
    VoiceEncoder m_encoder;

    std::mutex m_sinkMutex;
    std::shared_ptr<PacketSink> m_sink;

    std::atomic<std::uint64_t> m_received{0};
    std::atomic<std::uint64_t> m_lost{0};
    std::atomic<std::uint64_t> m_late{0};
    std::atomic<std::uint64_t> m_concealed{0};
    std::atomic<std::size_t> m_depth{0};
};

} // namespace wingbell
