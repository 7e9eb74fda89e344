#pragma once

#include <chrono>
#include <cstddef>
#include <optional>

namespace wingbell {

/// When lines that everybody needs are to be shown again, because others have pushed them out of
/// sight. Knows no clock; the times it is given must be monotonic.
class LineReminder
{
public:
    using Clock = std::chrono::steady_clock;

    /// The control window keeps the last 500 lines.
    static constexpr std::size_t maxLinesBehind = 300;
    static constexpr Clock::duration minInterval = std::chrono::seconds(10);

    void shown(Clock::time_point now);
    void otherLineWritten() { ++m_linesBehind; }

    /// When to show them again; nothing while they are still in sight or were never shown.
    [[nodiscard]] std::optional<Clock::time_point> nextDue() const;

private:
    std::optional<Clock::time_point> m_shown;
    std::size_t m_linesBehind = 0;
};

} // namespace wingbell
