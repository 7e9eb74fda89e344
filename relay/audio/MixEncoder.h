#pragma once

#include "relay/audio/JitterBuffer.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

struct OpusEncoder;

namespace wingbell {

/// Encodes the mix for one listener as Opus. Allocates only when built. Not thread-safe.
class MixEncoder
{
public:
    /// `samplesPerCycle`: 480 or 960. Throws std::bad_alloc if there is no memory for an encoder.
    explicit MixEncoder(std::size_t samplesPerCycle);

    /// The next packet, of one cycle, valid until the next call. Soft-clips `samples` in place:
    /// what goes beyond 1 or -1 is bent back, without a step between cycles. Empty if Opus fails,
    /// which it does for no samples at all.
    [[nodiscard]] std::span<const std::uint8_t> encode(std::span<float> samples);

    /// The next packet if there is nothing to hear. Costs almost nothing after the first 100 ms.
    [[nodiscard]] std::span<const std::uint8_t> encodeSilence();

private:
    struct DestroyEncoder
    {
        void operator()(OpusEncoder* encoder) const;
    };

    [[nodiscard]] std::span<const std::uint8_t> encodeAny(std::span<const float> samples);

    const std::size_t m_samplesPerCycle;
    std::unique_ptr<OpusEncoder, DestroyEncoder> m_encoder;
    float m_softClipMemory = 0;      ///< of opus_pcm_soft_clip(), from cycle to cycle
    std::size_t m_silentSamples = 0; ///< encoded in a row, up to the first 100 ms
    std::array<std::uint8_t, JitterBuffer::maxPayload> m_packet{};
};

} // namespace wingbell
