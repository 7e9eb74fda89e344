#pragma once

#include <cstddef>
#include <vector>

namespace wingbell {

/// How loud each listener hears each talker at the beginning and at the end of a tick. Not for
/// several threads at once.
class GainTable
{
public:
    struct Gain
    {
        float from = 0;
        float to = 0;

        [[nodiscard]] bool isHeard() const { return from > 0 || to > 0; }
    };

    /// Nobody hears anybody.
    GainTable(std::size_t listeners, std::size_t talkers);

    [[nodiscard]] const Gain& at(std::size_t listener, std::size_t talker) const;

    /// Moves to `gain` within the tick.
    void aim(std::size_t listener, std::size_t talker, float gain);

    /// Has `gain` from the tick's beginning on.
    void set(std::size_t listener, std::size_t talker, float gain);

    void silenceListener(std::size_t listener);
    void silenceTalker(std::size_t talker);

    /// The tick is over.
    void settle();

private:
    std::size_t m_listeners;
    std::size_t m_talkers;
    std::vector<Gain> m_gains;
};

} // namespace wingbell
