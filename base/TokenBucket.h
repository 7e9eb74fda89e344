#pragma once

#include <chrono>

namespace wingbell {

/// A token bucket, which limits a rate: so many at once, and then one every `interval`. Knows no
/// clock; the times it is given must be monotonic. Not thread-safe.
class TokenBucket
{
public:
    using Clock = std::chrono::steady_clock;

    /// Begins full, with `capacity` tokens.
    TokenBucket(int capacity, Clock::duration interval);

    /// Takes a token; false when there is none.
    [[nodiscard]] bool take(Clock::time_point now);

    /// How long until there is a token; zero when there is one.
    [[nodiscard]] Clock::duration untilNext(Clock::time_point now);

    /// From when on there is a token, as far as is known since the bucket was last refilled.
    [[nodiscard]] Clock::time_point nextToken() const;

    [[nodiscard]] bool isFull(Clock::time_point now);

private:
    void refill(Clock::time_point now);

    int m_capacity;
    Clock::duration m_interval;
    int m_tokens;
    Clock::time_point m_refilled; ///< up to when; unused while the bucket is full
};

} // namespace wingbell
