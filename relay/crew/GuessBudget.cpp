#include "relay/crew/GuessBudget.h"

namespace wingbell {

GuessBudget::GuessBudget(int most, Clock::duration every)
    : m_most(most)
    , m_every(every)
    , m_left(most)
{
}

GuessBudget::Clock::duration GuessBudget::untilLeft(Clock::time_point now)
{
    refill(now);
    return m_left > 0 ? Clock::duration::zero() : m_counted + m_every - now;
}

void GuessBudget::take(Clock::time_point now)
{
    refill(now);
    if (m_left == m_most) {
        m_counted = now;
    }
    --m_left;
}

void GuessBudget::refill(Clock::time_point now)
{
    if (m_left == m_most) {
        return;
    }
    const auto grown = (now - m_counted) / m_every;
    if (grown >= m_most - m_left) {
        m_left = m_most;
        return;
    }
    m_left += static_cast<int>(grown);
    m_counted += grown * m_every;
}

} // namespace wingbell
