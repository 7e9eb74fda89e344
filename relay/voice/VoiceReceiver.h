#pragma once

#include "relay/voice/AudioFormat.h"
#include "relay/voice/JitterBuffer.h"
#include "relay/voice/LatencyTrim.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

struct OpusDecoder;

namespace wingbell {

/// Makes an even flow of samples out of the packets of one voice as they come.
///
/// Time passes by play() or discard(), one tick at a time. Allocates only when built. Not for
/// several threads at once.
class VoiceReceiver
{
public:
    /// Throws std::bad_alloc when no decoder can be had.
    VoiceReceiver();
    ~VoiceReceiver();

    VoiceReceiver(const VoiceReceiver&) = delete;
    VoiceReceiver& operator=(const VoiceReceiver&) = delete;

    /// See JitterBuffer::insert().
    bool insert(const RtpPacket& packet) { return m_buffer.insert(packet); }

    /// Fills `out`, at most `mostTickSamples`, with what comes next.
    void play(std::span<float> out);

    /// Lets as many samples pass unheard: nothing is decoded.
    void discard(std::size_t samples);

    /// Packets that were not there when their turn had passed, and those that came after it.
    [[nodiscard]] std::uint64_t lost() const { return m_buffer.lost(); }
    [[nodiscard]] std::uint64_t late() const { return m_buffer.late(); }

    /// Samples made up in place of packets that were not there.
    [[nodiscard]] std::uint64_t concealed() const { return m_concealed; }

    /// Samples that wait to be played.
    [[nodiscard]] std::size_t depth() const { return m_length + m_buffer.depth(); }

    /// What LatencyTrim goes by, in samples.
    [[nodiscard]] std::size_t window() const { return m_trim.window(); }

private:
    struct DestroyDecoder
    {
        void operator()(OpusDecoder* decoder) const;
    };

    void beginToBeHeard();
    void trim(std::size_t samples);
    void fill(std::size_t samples);
    void take(std::size_t bridge);
    void decode(const JitterBuffer::Step& step);
    void conceal(std::size_t samples);
    void fadeIn(std::span<float> samples);
    void fadeOut(std::span<float> samples);
    void drop(std::size_t samples);
    void passed(std::size_t samples);

    std::unique_ptr<OpusDecoder, DestroyDecoder> m_decoder;
    JitterBuffer m_buffer;
    LatencyTrim m_trim;
    std::vector<float> m_samples; ///< decoded and not yet played: the first `m_length`
    std::size_t m_length = 0;     ///< while unheard, only counted
    bool m_isHeard = false;
    std::size_t m_excess = 0;   ///< to be taken out
    std::size_t m_concealedRun; ///< samples made up since the last packet that was there
    std::uint64_t m_concealed = 0;
};

} // namespace wingbell
