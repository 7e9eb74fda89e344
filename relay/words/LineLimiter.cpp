#include "relay/words/LineLimiter.h"

#include <algorithm>

namespace wingbell {

namespace {

LineCause causeAt(std::size_t index)
{
    return static_cast<LineCause>(index);
}

} // namespace

bool LineLimiter::admit(LineCause cause, Clock::time_point now)
{
    State& state = m_states.at(static_cast<std::size_t>(cause));
    std::optional<Clock::time_point>& oldest = state.admitted.at(state.oldest);
    if (state.held == 0 && (!oldest || now - *oldest >= period) &&
        (!isRefusal(cause) || m_refusals.take(now))) {
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

std::optional<LineLimiter::Clock::time_point> LineLimiter::nextDue() const
{
    std::optional<Clock::time_point> next;
    for (std::size_t index = 0; index < m_states.size(); ++index) {
        const State& state = m_states.at(index);
        if (state.held == 0) {
            continue;
        }
        const auto due =
            isRefusal(causeAt(index)) ? std::max(state.due, m_refusals.nextToken()) : state.due;
        if (!next || due < *next) {
            next = due;
        }
    }
    return next;
}

std::vector<LineLimiter::Held> LineLimiter::takeDue(Clock::time_point now)
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
        if (isEnd || !isRefusal(causeAt(index)) || m_refusals.take(now)) {
            taken.push_back({causeAt(index), m_states.at(index).held});
            m_states.at(index).held = 0;
        }
    }
    return taken;
}

} // namespace wingbell
