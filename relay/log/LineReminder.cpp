#include "relay/log/LineReminder.h"

namespace wingbell {

void LineReminder::shown(Clock::time_point now)
{
    m_shown = now;
    m_linesBehind = 0;
}

std::optional<LineReminder::Clock::time_point> LineReminder::nextDue() const
{
    if (!m_shown || m_linesBehind < maxLinesBehind) {
        return std::nullopt;
    }
    return *m_shown + minInterval;
}

} // namespace wingbell
