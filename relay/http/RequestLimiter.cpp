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

bool RequestLimiter::admit(const QHostAddress& peer, Clock::time_point now)
{
    const auto known = m_buckets.find(peer);
    if (known != m_buckets.end()) {
        return known->take(now);
    }
    if (m_buckets.size() >= maxAddresses) {
        m_buckets.removeIf([now](auto entry) { return entry->isFull(now); });
    }
    if (m_buckets.size() >= maxAddresses) {
        return m_shared.take(now);
    }
    return m_buckets.insert(peer, m_fullBucket)->take(now);
}

} // namespace wingbell
