#pragma once

#include "relay/audio/AudioIo.h"
#include "relay/audio/RedPayload.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

struct OpusEncoder;

namespace wingbell {

/// A talker that sends Opus in RTP, as a browser does.
class TalkingClient
{
public:
    /// What there is to hear at a sample, counted from the first.
    using Sound = std::function<float(std::size_t sample)>;

    explicit TalkingClient(
        Sound sound, std::size_t samplesPerPacket = maxCycleSamples, std::uint32_t ssrc = 1,
        std::uint16_t sequence = 0);
    ~TalkingClient();

    /// The next packet.
    [[nodiscard]] std::vector<std::uint8_t> next();

    /// Sends RED from now on, with as many copies of the packets before in each.
    void sendCopies(std::size_t copies) { m_copies = copies; }

    [[nodiscard]] std::size_t samplesPerPacket() const { return m_samplesPerPacket; }

private:
    struct DestroyEncoder
    {
        void operator()(OpusEncoder* encoder) const;
    };

    Sound m_sound;
    std::size_t m_samplesPerPacket;
    std::uint32_t m_ssrc;
    std::uint16_t m_sequence;
    std::size_t m_sample = 0;
    std::size_t m_copies = 0;
    RedWriter m_red;
    std::unique_ptr<OpusEncoder, DestroyEncoder> m_encoder;
};

/// A sine that goes from -`level` to `level`.
[[nodiscard]] TalkingClient::Sound tone(double hertz, double level = 0.3);

/// Something like a participant: a pitch that wanders, with overtones, in syllables.
[[nodiscard]] TalkingClient::Sound syllables();

/// The whole RTP packet around `payload`.
[[nodiscard]] std::vector<std::uint8_t> rtpPacket(
    std::uint16_t sequence, const std::vector<std::uint8_t>& payload, std::uint32_t ssrc = 1,
    std::uint32_t timestamp = 0, std::uint8_t payloadType = opusPayloadType);

} // namespace wingbell
