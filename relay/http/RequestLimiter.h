#pragma once

#include "base/TokenBucket.h"

#include <QHash>
#include <QHostAddress>

#include <chrono>

namespace wingbell {

/// Rate limit: a token bucket for each address.
///
/// The table is bounded: when it has no room left, the addresses whose bucket is full again are
/// forgotten; while there are none of these, new addresses share one bucket. Knows no clock; the
/// times it is given must be monotonic.
class RequestLimiter
{
public:
    using Clock = TokenBucket::Clock;

    static constexpr qsizetype maxAddresses = 1024;

    RequestLimiter(double requestsPerSecond, int burst)
        : m_fullBucket(
              burst, std::chrono::duration_cast<Clock::duration>(
                         std::chrono::duration<double>(1 / requestsPerSecond)))
        , m_shared(m_fullBucket)
    {
    }

    /// True when one more request from `peer` may be served now.
    [[nodiscard]] bool admit(const QHostAddress& peer, Clock::time_point now)
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

private:
    TokenBucket m_fullBucket;
    QHash<QHostAddress, TokenBucket> m_buckets;
    TokenBucket m_shared;
};

} // namespace wingbell
