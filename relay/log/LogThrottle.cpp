#include "relay/log/LogThrottle.h"

#include <algorithm>

namespace wingbell {

namespace {

LogEvent eventAt(std::size_t index)
{
    return static_cast<LogEvent>(index);
}

} // namespace

bool LogThrottle::admit(LogEvent event, Clock::time_point now)
{
    State& state = m_states.at(static_cast<std::size_t>(event));
    std::optional<Clock::time_point>& oldest = state.admitted.at(state.oldest);
    if (state.held == 0 && (!oldest || now - *oldest >= period) &&
        (!isRejection(event) || m_rejections.take(now))) {
        oldest = now;
        state.oldest = (state.oldest + 1) % linesASecond;
        return true;
    }
    if (state.held == 0) {
        state.due = now + period;
    }
    ++state.held;
    return false;
}

std::optional<LogThrottle::Clock::time_point> LogThrottle::nextDue() const
{
    std::optional<Clock::time_point> next;
    for (std::size_t index = 0; index < m_states.size(); ++index) {
        const State& state = m_states.at(index);
        if (state.held == 0) {
            continue;
        }
        const auto due =
            isRejection(eventAt(index)) ? std::max(state.due, m_rejections.nextToken()) : state.due;
        if (!next || due < *next) {
            next = due;
        }
    }
    return next;
}

std::vector<LogThrottle::Held> LogThrottle::takeDue(Clock::time_point now)
{
    std::vector<std::size_t> due;
    for (std::size_t index = 0; index < m_states.size(); ++index) {
        if (m_states.at(index).held > 0 && m_states.at(index).due <= now) {
            due.push_back(index);
        }
    }
    // Where there are not enough tokens for all, the one that has waited for longest gets one.
    std::stable_sort(due.begin(), due.end(), [this](std::size_t left, std::size_t right) {
        return m_states.at(left).due < m_states.at(right).due;
    });
    const bool isEnd = now == Clock::time_point::max();
    std::vector<Held> taken;
    for (const std::size_t index : due) {
        if (isEnd || !isRejection(eventAt(index)) || m_rejections.take(now)) {
            taken.push_back({eventAt(index), m_states.at(index).held});
            m_states.at(index).held = 0;
        }
    }
    return taken;
}

} // namespace wingbell
