#pragma once

#include <cstddef>
#include <span>
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

        friend bool operator==(const Gain&, const Gain&) = default;
    };

    /// All gains are 0.
    GainMatrix(std::size_t listeners, std::size_t talkers);

    [[nodiscard]] Gain at(std::size_t listener, std::size_t talker) const;

    /// The gains of one talker to all listeners, at the beginning and at the end of the block.
    [[nodiscard]] std::span<const float> from(std::size_t talker) const;
    [[nodiscard]] std::span<const float> to(std::size_t talker) const;

    /// Whether any listener hears `talker`.
    [[nodiscard]] bool isHeard(std::size_t talker) const { return m_rows[talker].listeners > 0; }

    /// Ramps to `gain` within this block.
    void rampTo(std::size_t listener, std::size_t talker, float gain);

    /// Uses `gain` from the beginning of this block, without a ramp.
    void jumpTo(std::size_t listener, std::size_t talker, float gain);

    void silenceListener(std::size_t listener);
    void silenceTalker(std::size_t talker);

    /// Ends the block: the next one begins with the gains that this one ended with. Walks only the
    /// talkers whose gains have changed.
    void endBlock();

private:
    /// What is known of the gains of one talker.
    struct Row
    {
        std::size_t listeners = 0; ///< that hear it
        bool isRamping = false;
    };

    void set(std::size_t listener, std::size_t talker, Gain gain);

    // Talker by talker, as the mixer walks them.
    std::size_t m_listeners;
    std::vector<Row> m_rows;
    std::vector<float> m_from;
    std::vector<float> m_to;
};

} // namespace wingbell
