#pragma once

#include "base/TokenBucket.h"

#include <QHash>
#include <QHostAddress>

#include <chrono>
#include <cstddef>

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

    RequestLimiter(double requestsPerSecond, int burst);

    /// True when one more request from `peer` may be served now.
    [[nodiscard]] bool admit(const QHostAddress& peer, Clock::time_point now);

private:
    TokenBucket m_fullBucket;
    QHash<QHostAddress, TokenBucket> m_buckets;
    TokenBucket m_shared;
};

} // namespace wingbell
