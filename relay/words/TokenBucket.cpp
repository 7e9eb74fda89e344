#include "relay/words/TokenBucket.h"

namespace wingbell {

TokenBucket::TokenBucket(int capacity, Clock::duration interval)
    : m_capacity(capacity)
    , m_interval(interval)
    , m_tokens(capacity)
{
}

bool TokenBucket::take(Clock::time_point now)
{
    refill(now);
    if (m_tokens == 0) {
        return false;
    }
    if (m_tokens == m_capacity) {
        m_refilled = now;
    }
    --m_tokens;
    return true;
}

bool TokenBucket::isFull(Clock::time_point now) const
{
    return m_tokens == m_capacity || (now - m_refilled) / m_interval >= m_capacity - m_tokens;
}

TokenBucket::Clock::time_point TokenBucket::nextToken() const
{
    return m_tokens > 0 ? Clock::time_point::min() : m_refilled + m_interval;
}

void TokenBucket::refill(Clock::time_point now)
{
    if (m_tokens == m_capacity) {
        return;
    }
    const auto grown = (now - m_refilled) / m_interval;
    if (grown >= m_capacity - m_tokens) {
        m_tokens = m_capacity;
        return;
    }
    m_tokens += static_cast<int>(grown);
    m_refilled += grown * m_interval;
}

} // namespace wingbell
