#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace wingbell {

/// Brings mono sound of another rate, piece by piece, to the rate everything sounds at.
///
/// A windowed sinc, one set of coefficients for each place an output sample can have between two
/// input samples: nothing is rounded, whatever the length. Up to nine tenths of the input's band
/// tones keep their strength; images of them are at least 70 dB down. Not for several threads at
/// once.
class Resampler
{
public:
    static constexpr int lowestRate = 8000;
    static constexpr int highestRate = 48000;

    /// `inputRate` in samples a second, from `lowestRate` to `highestRate`.
    explicit Resampler(int inputRate);

    [[nodiscard]] int inputRate() const { return m_inputRate; }

    /// Appends to `output` what can be told by now: all but about a millisecond. What was taken
    /// in one piece or in many makes no difference.
    void process(std::span<const float> input, std::vector<float>& output);

    /// Appends the rest and is as new again. In all there are as many samples as the input's
    /// duration holds, rounded up.
    void finish(std::vector<float>& output);

    /// Forgets what was taken so far and is as new again.
    void restart();

private:
    void produce(std::vector<float>& output);

    int m_inputRate;
    std::size_t m_steps;          ///< places between two input samples
    std::size_t m_stride;         ///< places from one output sample to the next
    std::vector<float> m_filters; ///< for each place its coefficients
    std::vector<float> m_input;   ///< from the first sample that is still needed
    std::size_t m_place = 0;      ///< of the next output sample, below `m_steps`
};

} // namespace wingbell
