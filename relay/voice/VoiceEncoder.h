#pragma once

#include "relay/voice/JitterBuffer.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

struct OpusEncoder;

namespace wingbell {

/// Makes the Opus packets for one listener. Allocates only when built. Not for several threads at
/// once.
class VoiceEncoder
{
public:
    /// `samplesPerTick`: 480 or 960. Throws std::bad_alloc when no encoder can be had.
    explicit VoiceEncoder(std::size_t samplesPerTick);
    ~VoiceEncoder();

    VoiceEncoder(const VoiceEncoder&) = delete;
    VoiceEncoder& operator=(const VoiceEncoder&) = delete;

    /// The next packet, of one tick, valid until the next call. Empty when Opus refuses, which it
    /// does for no samples whatever. Soft-clips `samples` in place: what goes beyond 1 either way
    /// is bent back, without a step from tick to tick.
    [[nodiscard]] std::span<const std::uint8_t> encode(std::span<float> samples);

    /// The next packet when there is nothing to hear. Costs next to nothing once the last sound has
    /// died away.
    [[nodiscard]] std::span<const std::uint8_t> encodeSilence();

private:
    struct DestroyEncoder
    {
        void operator()(OpusEncoder* encoder) const;
    };

    [[nodiscard]] std::span<const std::uint8_t> encodeAny(std::span<const float> samples);

    const std::size_t m_samplesPerTick;
    std::unique_ptr<OpusEncoder, DestroyEncoder> m_encoder;
    float m_softClipMemory = 0;      ///< of opus_pcm_soft_clip(), from tick to tick
    std::size_t m_silentSamples = 0; ///< encoded in a row, as far as it matters
    std::array<std::uint8_t, JitterBuffer::mostPayload> m_packet{};
};

} // namespace wingbell
