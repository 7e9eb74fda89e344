#pragma once

#include <cstdint>

namespace wingbell {

/// When ticks are due, one each period, in nanoseconds of a clock that the caller reads.
class TickPace
{
public:
    /// Further behind than this many ticks the pace begins anew instead of hurrying after.
    static constexpr std::int64_t mostBehind = 5;

    /// The first tick is due at `now`.
    TickPace(std::int64_t now, std::int64_t period);

    [[nodiscard]] std::int64_t due() const { return m_due; }

    /// The tick that was due has been made. Returns how many were missed by it: itself when the
    /// next one was due before it ended, and those that are left out.
    [[nodiscard]] std::uint64_t ended(std::int64_t now);

private:
    std::int64_t m_due;
    std::int64_t m_period;
};

} // namespace wingbell
