#pragma once

#include "relay/osc/Announcement.h"
#include "relay/words/LineLimiter.h"
#include "relay/words/Refusal.h"

#include <sys/socket.h>

namespace wingbell {

class LineWriter;

/// Tells a person what came over the network, at most a few lines a second of each kind.
class Journal
{
public:
    using Clock = LineLimiter::Clock;

    /// Borrows `output`, which must outlive it.
    explicit Journal(LineWriter& output);

    void announced(
        const Announcement& announcement, const sockaddr_storage& sender, Clock::time_point now);
    void refused(const Refusal& refusal, const sockaddr_storage& sender, Clock::time_point now);

    /// When to call tellHeldBack() next; nothing while there is nothing to tell.
    [[nodiscard]] std::optional<Clock::time_point> nextDue() const { return m_limiter.nextDue(); }

    /// Tells how many lines were held back, as far as that is due at `now`.
    void tellHeldBack(Clock::time_point now);

private:
    LineWriter& m_output;
    LineLimiter m_limiter;
};

} // namespace wingbell
