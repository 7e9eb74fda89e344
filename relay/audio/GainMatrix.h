#pragma once

#include <cstddef>
#include <vector>

namespace wingbell {

/// The mixing matrix: the gain from each talker to each listener, at the beginning and at the end
/// of the current block of samples, between which the mixer ramps linearly. Not thread-safe.
class GainMatrix
{
public:
    struct Gain
    {
        float from = 0;
        float to = 0;

        [[nodiscard]] bool isHeard() const { return from > 0 || to > 0; }
    };

    /// All gains are 0.
    GainMatrix(std::size_t listeners, std::size_t talkers);

    [[nodiscard]] const Gain& at(std::size_t listener, std::size_t talker) const;

    /// Ramps to `gain` within this block.
    void rampTo(std::size_t listener, std::size_t talker, float gain);

    /// Uses `gain` from the beginning of this block, without a ramp.
    void jumpTo(std::size_t listener, std::size_t talker, float gain);

    void silenceListener(std::size_t listener);
    void silenceTalker(std::size_t talker);

    /// Ends the block: the next one begins with the gains that this one ended with.
    void endBlock();

private:
    std::size_t m_listeners;
    std::size_t m_talkers;
    std::vector<Gain> m_gains;
};

} // namespace wingbell
