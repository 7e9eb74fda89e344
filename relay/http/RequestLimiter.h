#pragma once

#include "relay/http/AddressKey.h"
#include "relay/words/TokenBucket.h"

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
    using Clock = TokenBucket::Clock;

    static constexpr std::size_t maxAddresses = 1024;

    RequestLimiter(double requestsPerSecond, int burst);

    /// True when one more request from `peer`, whatever its port, may be served now.
    [[nodiscard]] bool admit(const sockaddr_storage& peer, Clock::time_point now);

private:
    TokenBucket m_fullBucket;
    std::map<AddressKey, TokenBucket> m_buckets;
    TokenBucket m_shared;
};

} // namespace wingbell
