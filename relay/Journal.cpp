#include "relay/Journal.h"

#include "relay/words/LineWriter.h"
#include "relay/net/SenderAddress.h"
#include "relay/Sentences.h"

namespace wingbell {

Journal::Journal(LineWriter& output)
    : m_output(output)
{
}

void Journal::announced(
    const Announcement& announcement, const sockaddr_storage& sender, Clock::time_point now)
{
    if (m_limiter.admit(LineCause::Announced, now)) {
        m_output.write(announcedSentence(announcement, numericAddress(sender)));
    }
}

void Journal::refused(const Refusal& refusal, const sockaddr_storage& sender, Clock::time_point now)
{
    if (m_limiter.admit(refusal.cause, now)) {
        m_output.write(refusedSentence(refusal, numericAddress(sender)));
    }
}

void Journal::tellHeldBack(Clock::time_point now)
{
    for (const LineLimiter::Held& held : m_limiter.takeDue(now)) {
        m_output.write(heldBackSentence(held));
    }
}

} // namespace wingbell
