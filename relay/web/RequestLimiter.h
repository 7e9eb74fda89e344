#pragma once

#include "base/TokenBucket.h"

#include <QHash>
#include <QHostAddress>

#include <chrono>
#include <cstddef>

namespace wingbell {

/// How many requests an address may send: a token bucket for each.
///
/// The table is bounded: when it is full, the addresses whose bucket is full again are forgotten,
/// and while there is none of these, new addresses share one bucket. Knows no clock; the times it
/// is given must not go back.
class RequestLimiter
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr qsizetype mostAddresses = 1024;

    RequestLimiter(double requestsASecond, double requestsAtOnce);

    /// True when one more request from `peer` may be answered now.
    [[nodiscard]] bool admit(const QHostAddress& peer, Clock::time_point now);

    [[nodiscard]] qsizetype addresses() const { return m_buckets.size(); }

private:
    void forgetTheQuiet(Clock::time_point now);

    TokenBucket m_fullBucket;
    QHash<QHostAddress, TokenBucket> m_buckets;
    TokenBucket m_shared;
};

} // namespace wingbell
