#pragma once

#include "relay/http/AddressKey.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <sys/socket.h>

namespace wingbell {

/// Rate limit: a token bucket for each address.
///
/// The table is bounded: when it has no room left, the addresses whose bucket is full again are
/// forgotten; while there are none of these, new addresses share one bucket. Knows no clock; the
/// times it is given must be monotonic.
class RequestLimiter
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::size_t maxAddresses = 1024;

    RequestLimiter(double requestsPerSecond, double burst);

    /// True when one more request from `peer`, whatever its port, may be served now.
    [[nodiscard]] bool admit(const sockaddr_storage& peer, Clock::time_point now);

private:
    struct Bucket
    {
        double tokens;
        Clock::time_point filled;
    };

    void forgetFullBuckets(Clock::time_point now);
    void fill(Bucket& bucket, Clock::time_point now) const;
    [[nodiscard]] bool take(Bucket& bucket, Clock::time_point now) const;

    double m_rate;
    double m_capacity;
    std::map<AddressKey, Bucket> m_buckets;
    Bucket m_shared;
};

} // namespace wingbell
