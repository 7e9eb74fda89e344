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

bool RequestLimiter::admit(const sockaddr_storage& peer, Clock::time_point now)
{
    const AddressKey key = addressKey(peer);
    const auto known = m_buckets.find(key);
    if (known != m_buckets.end()) {
        return known->second.take(now);
    }
    if (m_buckets.size() >= mostAddresses) {
        forgetTheQuiet(now);
    }
    if (m_buckets.size() >= mostAddresses) {
        return m_shared.take(now);
    }
    return m_buckets.emplace(key, m_fullBucket).first->second.take(now);
}

void RequestLimiter::forgetTheQuiet(Clock::time_point now)
{
    for (auto entry = m_buckets.begin(); entry != m_buckets.end();) {
        entry = entry->second.isFull(now) ? m_buckets.erase(entry) : std::next(entry);
    }
}

} // namespace wingbell
