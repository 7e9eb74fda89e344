#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace wingbell {

/// Resamples mono audio, piece by piece, to the rate everything sounds at.
///
/// A polyphase filter: a Kaiser-windowed sinc, with one set of coefficients for each place that an
/// output sample can have between two input samples, so that nothing is rounded whatever the
/// length. Up to nine tenths of the input's bandwidth tones keep their strength; their images are
/// at least 70 dB down. Audio that has the output rate already passes unchanged. Not thread-safe.
class Resampler
{
public:
    /// True for every usual `rate` from 8000 to 48000 Hz. Not for one that has little in common
    /// with the output rate: to compute so many coefficients would hold the caller up for long.
    [[nodiscard]] static bool supports(unsigned rate);

    /// `inputRate` in Hz, one that supports() is true for.
    explicit Resampler(int inputRate);

    /// Appends to `output` what can be computed by now: all but a few milliseconds. The sizes of
    /// the pieces make no difference.
    void process(std::span<const float> input, std::vector<float>& output);

    [[nodiscard]] int inputRate() const { return m_inputRate; }

    /// Appends the rest, then begins again with the next audio. In all there are as many samples as
    /// the duration of the input holds, rounded up.
    void finish(std::vector<float>& output);

    /// Forgets the audio so far and begins again.
    void restart();

private:
    int m_inputRate;
    std::size_t m_phases;        ///< places between two input samples; 1: no resampling
    std::size_t m_stride;        ///< phases from one output sample to the next
    std::vector<float> m_filter; ///< the coefficients of each phase
    std::vector<float> m_input;  ///< from the first sample that is still needed
    std::size_t m_phase = 0;     ///< of the next output sample
};

} // namespace wingbell
