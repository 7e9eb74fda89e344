#include "relay/http/RequestLimiter.h"

#include <algorithm>
#include <iterator>

namespace wingbell {

RequestLimiter::RequestLimiter(double requestsPerSecond, double burst)
    : m_rate(requestsPerSecond)
    , m_capacity(burst)
    , m_shared{burst, {}}
{
}

bool RequestLimiter::admit(const sockaddr_storage& peer, Clock::time_point now)
{
    const AddressKey key = addressKey(peer);
    const auto known = m_buckets.find(key);
    if (known != m_buckets.end()) {
        return take(known->second, now);
    }
    if (m_buckets.size() >= maxAddresses) {
        forgetFullBuckets(now);
    }
    if (m_buckets.size() >= maxAddresses) {
        return take(m_shared, now);
    }
    return take(m_buckets.emplace(key, Bucket{m_capacity, now}).first->second, now);
}

void RequestLimiter::forgetFullBuckets(Clock::time_point now)
{
    for (auto entry = m_buckets.begin(); entry != m_buckets.end();) {
        fill(entry->second, now);
        entry = entry->second.tokens >= m_capacity ? m_buckets.erase(entry) : std::next(entry);
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
