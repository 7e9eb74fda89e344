#pragma once

#include <chrono>

namespace wingbell {

/// A number of wrong codes that may come at once and grows back one by one. Knows no clock; the
/// times it is given must not go back.
class GuessBudget
{
public:
    using Clock = std::chrono::steady_clock;

    /// Begins with `most`; one more every `every`, never beyond `most`.
    GuessBudget(int most, Clock::duration every);

    /// How long until one is left; zero when one is.
    [[nodiscard]] Clock::duration untilLeft(Clock::time_point now);

    /// Takes one, which must be left.
    void take(Clock::time_point now);

private:
    void refill(Clock::time_point now);

    int m_most;
    Clock::duration m_every;
    int m_left;
    Clock::time_point
        m_counted; ///< up to when `m_left` is refilled; of no meaning while it is full
};

} // namespace wingbell
