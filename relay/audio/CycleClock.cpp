#include "relay/audio/CycleClock.h"

namespace wingbell {

CycleClock::CycleClock(std::int64_t now, std::int64_t period)
    : m_due(now)
    , m_period(period)
{
}

std::uint64_t CycleClock::ended(std::int64_t now)
{
    m_due += m_period;
    if (now <= m_due) {
        return 0;
    }
    const std::int64_t behind = (now - m_due) / m_period;
    if (behind <= maxCyclesBehind) {
        return 1;
    }
    m_due += behind * m_period;
    return 1 + static_cast<std::uint64_t>(behind);
}

} // namespace wingbell
