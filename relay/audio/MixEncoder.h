#pragma once

#include "relay/audio/JitterBuffer.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

struct OpusEncoder;

namespace wingbell {

/// Encodes a mix as Opus, for all listeners to it. Allocates only when built. Not thread-safe.
///
/// What a decoder makes of a packet depends on the packets before. A listener can change to another
/// encoder without a click if that continues the one before, or if its next packet is independent.
class MixEncoder
{
public:
    enum class Effort {
        Full, ///< SILK with FEC
        Low,  ///< CELT without FEC, in a quarter of the time
    };

    /// `samplesPerCycle`: 480 or 960. Throws std::bad_alloc if there is no memory for an encoder.
    explicit MixEncoder(std::size_t samplesPerCycle);

    /// How much time the packets may take, from the next one on; Full at first. A change does not
    /// click.
    void setEffort(Effort effort);

    /// Starts again, for listeners that have heard silence.
    void reset();

    /// Goes on where `other` is, for listeners to that one: to them, there is no change at all.
    void continueFrom(const MixEncoder& other);

    /// Makes the packets of the next 20 ms independent of those before, as far as Opus can, for
    /// listeners that have heard another encoder. This takes some quality from those packets; the
    /// first one also has no FEC, which would be that of the other listeners' past.
    void beginIndependent();

    /// The next packet, of one cycle, valid until the next call. Soft-clips `samples` in place:
    /// what goes beyond 1 or -1 is bent back, without a step between cycles. Empty if Opus fails,
    /// which it does for no samples at all.
    [[nodiscard]] std::span<const std::uint8_t> encode(std::span<float> samples);

    /// The next packet if there is nothing to hear. Costs almost nothing once hasFadedOut().
    [[nodiscard]] std::span<const std::uint8_t> encodeSilence();

    /// Whether the last packets were silence for 100 ms: silentPacket() can follow them.
    [[nodiscard]] bool hasFadedOut() const;

    /// A packet of digital silence of one cycle. It resets the decoder.
    [[nodiscard]] static std::span<const std::uint8_t> silentPacket(std::size_t samplesPerCycle);

private:
    struct DestroyEncoder
    {
        void operator()(OpusEncoder* encoder) const;
    };

    void applyEffort();
    [[nodiscard]] std::span<const std::uint8_t> encodeAny(std::span<const float> samples);

    const std::size_t m_samplesPerCycle;
    std::unique_ptr<OpusEncoder, DestroyEncoder> m_encoder;
    Effort m_effort = Effort::Full;
    float m_softClipMemory = 0;           ///< of opus_pcm_soft_clip(), from cycle to cycle
    std::size_t m_silentSamples = 0;      ///< encoded in a row, up to the first 100 ms
    std::size_t m_independentSamples = 0; ///< still to be encoded independently
    std::array<std::uint8_t, JitterBuffer::maxPayload> m_packet{};
};

} // namespace wingbell
