#include "relay/http/RequestLimiter.h"

namespace wingbell {

namespace {

TokenBucket::Clock::duration intervalOf(double requestsPerSecond)
{
    return std::chrono::duration_cast<TokenBucket::Clock::duration>(
        std::chrono::duration<double>(1 / requestsPerSecond));
}

} // namespace

RequestLimiter::RequestLimiter(double requestsPerSecond, int burst)
    : m_fullBucket(burst, intervalOf(requestsPerSecond))
    , m_shared(m_fullBucket)
{
}

bool RequestLimiter::admit(const sockaddr_storage& peer, Clock::time_point now)
{
    const AddressKey key = addressKey(peer);
    const auto known = m_buckets.find(key);
    if (known != m_buckets.end()) {
        return known->second.take(now);
    }
    if (m_buckets.size() >= maxAddresses) {
        std::erase_if(m_buckets, [now](const auto& entry) { return entry.second.isFull(now); });
    }
    if (m_buckets.size() >= maxAddresses) {
        return m_shared.take(now);
    }
    return m_buckets.emplace(key, m_fullBucket).first->second.take(now);
}

} // namespace wingbell
