#include "relay/web/RequestLimiter.h"

#include <iterator>

namespace wingbell {

RequestLimiter::RequestLimiter(double requestsASecond, double requestsAtOnce)
    : m_fullBucket(
          static_cast<int>(requestsAtOnce), std::chrono::duration_cast<Clock::duration>(
                                                std::chrono::duration<double>(1 / requestsASecond)))
    , m_shared(m_fullBucket)
{
}

bool RequestLimiter::admit(const QHostAddress& peer, Clock::time_point now)
{
    const auto known = m_buckets.find(peer);
    if (known != m_buckets.end()) {
        return known->take(now);
    }
    if (m_buckets.size() >= mostAddresses) {
        forgetTheQuiet(now);
    }
    if (m_buckets.size() >= mostAddresses) {
        return m_shared.take(now);
    }
    return m_buckets.insert(peer, m_fullBucket)->take(now);
}

void RequestLimiter::forgetTheQuiet(Clock::time_point now)
{
    for (auto entry = m_buckets.begin(); entry != m_buckets.end();) {
        entry = entry->isFull(now) ? m_buckets.erase(entry) : std::next(entry);
    }
}

} // namespace wingbell
