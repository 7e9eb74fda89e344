#pragma once

#include "base/TokenBucket.h"
#include "relay/log/Messages.h"

#include <QtGlobal>

#include <array>
#include <chrono>
#include <optional>
#include <vector>

namespace wingbell {

/// Rate limit for console lines: at most `linesASecond` of each event in any second; the others
/// are counted.
///
/// From the first line that is held back, all of its event are, until their number is taken a
/// second later: so the number always stands behind the lines it belongs to.
///
/// Strangers can cause rejections at will and of many kinds, so all rejections together share a
/// token bucket besides. Each line of theirs takes a token, and so does each number: a number for
/// which there is none waits for one. Knows no clock and starts no timer; the times it is given
/// must be monotonic.
class LogThrottle
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::size_t linesASecond = 3;
    static constexpr Clock::duration period = std::chrono::seconds(1);

    static constexpr int rejectionsAtOnce = 10;
    static constexpr Clock::duration rejectionInterval = std::chrono::seconds(1);

    /// How many lines of an event were held back; never none.
    struct Held
    {
        LogEvent event = LogEvent::Announced;
        quint64 lines = 0;

        friend bool operator==(const Held&, const Held&) = default;
    };

    /// True when a line of `event` may be printed now; otherwise it is counted.
    [[nodiscard]] bool admit(LogEvent event, Clock::time_point now);

    /// When the next number is due; nothing while no line is held back.
    [[nodiscard]] std::optional<Clock::time_point> nextDue() const;

    /// The numbers due at `now`; their events may print again. At the end of time all of them.
    [[nodiscard]] std::vector<Held> takeDue(Clock::time_point now);

private:
    struct State
    {
        std::array<std::optional<Clock::time_point>, linesASecond> admitted; ///< a ring
        std::size_t oldest = 0;
        quint64 held = 0;
        Clock::time_point due; ///< valid only while `held` is not zero
    };

    std::array<State, throttledEventCount> m_states;
    TokenBucket m_rejections{rejectionsAtOnce, rejectionInterval};
};

} // namespace wingbell
