#pragma once

#include <cstdint>

namespace wingbell {

/// The deadlines of the mixer cycles, one each period, in nanoseconds of a clock that the caller
/// reads. A late cycle does not delay the next ones.
class CycleClock
{
public:
    /// Further behind than this many cycles, the missed ones are left out instead of caught up
    /// with.
    static constexpr std::int64_t maxCyclesBehind = 5;

    /// The first cycle starts at `now`.
    CycleClock(std::int64_t now, std::int64_t period);

    /// When the next cycle starts.
    [[nodiscard]] std::int64_t due() const { return m_due; }

    /// To be called when a cycle has ended. Returns how many deadlines were missed: its own, which
    /// is the start of the next cycle, and those of the cycles that are left out.
    [[nodiscard]] std::uint64_t ended(std::int64_t now);

private:
    std::int64_t m_due;
    std::int64_t m_period;
};

} // namespace wingbell
