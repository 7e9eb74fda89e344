#include "relay/web/RequestLimiter.h"

#include <algorithm>
#include <iterator>

namespace wingbell {

RequestLimiter::RequestLimiter(double requestsASecond, double requestsAtOnce)
    : m_rate(requestsASecond)
    , m_capacity(requestsAtOnce)
    , m_shared{requestsAtOnce, {}}
{
}

bool RequestLimiter::admit(const QHostAddress& peer, Clock::time_point now)
{
    const auto known = m_buckets.find(peer);
    if (known != m_buckets.end()) {
        return take(*known, now);
    }
    if (m_buckets.size() >= mostAddresses) {
        forgetTheQuiet(now);
    }
    if (m_buckets.size() >= mostAddresses) {
        return take(m_shared, now);
    }
    return take(*m_buckets.insert(peer, {m_capacity, now}), now);
}

void RequestLimiter::forgetTheQuiet(Clock::time_point now)
{
    for (auto entry = m_buckets.begin(); entry != m_buckets.end();) {
        fill(*entry, now);
        entry = entry->tokens >= m_capacity ? m_buckets.erase(entry) : std::next(entry);
    }
}

void RequestLimiter::fill(Bucket& bucket, Clock::time_point now) const
{
    const std::chrono::duration<double> passed = now - bucket.filled;
    bucket.tokens = std::min(m_capacity, bucket.tokens + passed.count() * m_rate);
    bucket.filled = now;
}

bool RequestLimiter::take(Bucket& bucket, Clock::time_point now) const
{
    fill(bucket, now);
    if (bucket.tokens < 1) {
        return false;
    }
    bucket.tokens -= 1;
    return true;
}

} // namespace wingbell
