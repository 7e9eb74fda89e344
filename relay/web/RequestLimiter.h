#pragma once

#include "base/TokenBucket.h"
#include "relay/web/AddressKey.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <sys/socket.h>

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

    static constexpr std::size_t mostAddresses = 1024;

    RequestLimiter(double requestsASecond, double requestsAtOnce);

    /// True when one more request from `peer`, whatever its port, may be answered now.
    [[nodiscard]] bool admit(const sockaddr_storage& peer, Clock::time_point now);

    [[nodiscard]] std::size_t addresses() const { return m_buckets.size(); }

private:
    void forgetTheQuiet(Clock::time_point now);

    TokenBucket m_fullBucket;
    std::map<AddressKey, TokenBucket> m_buckets;
    TokenBucket m_shared;
};

} // namespace wingbell
