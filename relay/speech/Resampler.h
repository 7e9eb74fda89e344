#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

struct SpeexResamplerState_;

namespace wingbell {

/// Brings mono sound of another rate, piece by piece, to the rate everything sounds at: a windowed
/// sinc of libspeexdsp. Sound that has this rate already passes as it is. Not thread-safe.
class Resampler
{
public:
    static constexpr int lowestRate = 8000;
    static constexpr int highestRate = 48000;

    /// `inputRate` in samples a second, from `lowestRate` to `highestRate`.
    explicit Resampler(int inputRate);

    /// Appends to `output` what can be told by now: all but a few milliseconds. What was taken in
    /// one piece or in many makes no difference.
    void process(std::span<const float> input, std::vector<float>& output);

    /// Appends the rest; to be called once. In all there are as many samples as the input's
    /// duration holds, rounded up.
    void finish(std::vector<float>& output);

private:
    struct Destroy
    {
        void operator()(SpeexResamplerState_* state) const;
    };

    void produce(std::span<const float> input, std::vector<float>& output);

    int m_inputRate;
    std::unique_ptr<SpeexResamplerState_, Destroy> m_state; ///< none where the sound passes
    std::size_t m_taken = 0;                                ///< samples so far
    std::size_t m_given = 0;
};

} // namespace wingbell
