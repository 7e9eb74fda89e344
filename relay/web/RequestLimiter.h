#pragma once

#include <QHash>
#include <QHostAddress>

#include <chrono>
#include <cstddef>

namespace wingbell {

/// How many requests an address may send: a bucket of tokens for each, filled at a steady rate.
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
    struct Bucket
    {
        double tokens;
        Clock::time_point filled;
    };

    void forgetTheQuiet(Clock::time_point now);
    void fill(Bucket& bucket, Clock::time_point now) const;
    [[nodiscard]] bool take(Bucket& bucket, Clock::time_point now) const;

    double m_rate;
    double m_capacity;
    QHash<QHostAddress, Bucket> m_buckets;
    Bucket m_shared;
};

} // namespace wingbell
