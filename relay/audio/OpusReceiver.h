#pragma once

#include "relay/audio/AudioIo.h"
#include "relay/audio/DelayController.h"
#include "relay/audio/JitterBuffer.h"

#include <cstddef>
#include <memory>
#include <span>

struct OpusDecoder;

namespace wingbell {

/// Turns the Opus packets of one participant into a steady stream of samples: jitter buffer,
/// decoder, packet loss concealment and time-stretching that keeps the delay small.
///
/// Time passes by play() or discard(), one cycle at a time. Allocates only when built. Not
/// thread-safe.
class OpusReceiver
{
public:
    /// Throws std::bad_alloc if there is no memory for a decoder.
    OpusReceiver();

    /// Takes Opus, or RED of Opus. Returns false if it is neither.
    bool insert(const RtpPacket& packet);

    /// Fills `out`, at most `maxCycleSamples`, with what comes next.
    void play(std::span<float> out);

    /// Drops as many samples unheard: nothing is decoded.
    void discard(std::size_t samples);

    /// Packets that were not there in their playout slot, and those that arrived after it.
    [[nodiscard]] std::uint64_t lost() const { return m_buffer.lost(); }
    [[nodiscard]] std::uint64_t late() const { return m_buffer.late(); }

    /// Samples concealed in place of packets that were not there.
    [[nodiscard]] std::uint64_t concealed() const { return m_concealed; }

    /// Samples waiting to be played.
    [[nodiscard]] std::size_t depth() const { return m_length + m_buffer.depth(); }

    /// The window of the DelayController, in samples.
    [[nodiscard]] std::size_t window() const { return m_delay.window(); }

private:
    struct DestroyDecoder
    {
        void operator()(OpusDecoder* decoder) const;
    };

    void beginToBeHeard();
    void trim(std::size_t samples);
    void fill(std::size_t samples);
    void take(std::size_t underrunSamples);
    void decode(const JitterBuffer::Step& step);
    void conceal(std::size_t samples);
    void fadeIn(std::span<float> samples);
    void fadeOut(std::span<float> samples);
    void drop(std::size_t samples);
    void passed(std::size_t samples);

    std::unique_ptr<OpusDecoder, DestroyDecoder> m_decoder;
    JitterBuffer m_buffer;
    DelayController m_delay;
    std::unique_ptr<float[]> m_memory; ///< not initialised: what is never used takes no memory
    std::span<float> m_samples;        ///< decoded and not yet played: the first `m_length`
    std::size_t m_length = 0;          ///< only counted while unheard
    bool m_isHeard = false;
    std::size_t m_excess = 0;   ///< to be removed
    std::size_t m_concealedRun; ///< samples concealed since the last packet that was there
    std::uint64_t m_concealed = 0;
};

} // namespace wingbell
