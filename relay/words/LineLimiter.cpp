#include "relay/words/LineLimiter.h"

namespace wingbell {

bool LineLimiter::admit(LineCause cause, Clock::time_point now)
{
    State& state = m_states.at(static_cast<std::size_t>(cause));
    std::optional<Clock::time_point>& oldest = state.admitted.at(state.oldest);
    if (state.held == 0 && (!oldest || now - *oldest >= period)) {
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
    for (const State& state : m_states) {
        if (state.held > 0 && (!next || state.due < *next)) {
            next = state.due;
        }
    }
    return next;
}

std::vector<LineLimiter::Held> LineLimiter::takeDue(Clock::time_point now)
{
    std::vector<Held> taken;
    for (std::size_t index = 0; index < m_states.size(); ++index) {
        State& state = m_states.at(index);
        if (state.held > 0 && state.due <= now) {
            taken.push_back({static_cast<LineCause>(index), state.held});
            state.held = 0;
        }
    }
    return taken;
}

} // namespace wingbell
