#pragma once

#include <chrono>

namespace wingbell {

/// A token bucket: so many at once, and then one every `interval`. Knows no clock; the times it is
/// given must be monotonic.
class TokenBucket
{
public:
    using Clock = std::chrono::steady_clock;

    /// Begins full, with `capacity` tokens.
    TokenBucket(int capacity, Clock::duration interval);

    /// Takes a token; false when there is none.
    [[nodiscard]] bool take(Clock::time_point now);

    [[nodiscard]] bool isFull(Clock::time_point now) const;

    /// From when on there is a token, as far as is known since take() last looked.
    [[nodiscard]] Clock::time_point nextToken() const;

private:
    void refill(Clock::time_point now);

    int m_capacity;
    Clock::duration m_interval;
    int m_tokens;
    Clock::time_point m_refilled; ///< of no meaning while the bucket is full
};

} // namespace wingbell
