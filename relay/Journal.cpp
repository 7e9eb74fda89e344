#include "relay/Journal.h"

#include "relay/Sentences.h"
#include "relay/net/SenderAddress.h"
#include "relay/words/LineWriter.h"

namespace wingbell {

Journal::Journal(LineWriter& output, std::function<void()> written)
    : m_output(output)
    , m_written(std::move(written))
{
}

/// The sentence is made only when it is going to be told: a flood is to cost little.
template <typename Line> void Journal::tell(LineCause cause, const Line& line)
{
    if (m_limiter.admit(cause, Clock::now())) {
        m_output.write(line());
    }
    m_written();
}

void Journal::tell(const QString& line)
{
    m_output.write(line);
    m_written();
}

void Journal::announced(const Announcement& announcement, const sockaddr_storage& sender)
{
    tell(LineCause::Announced, [&] {
        return announcedSentence(announcement, numericAddress(sender));
    });
}

void Journal::refused(const Refusal& refusal, const sockaddr_storage& sender)
{
    tell(refusal.cause, [&] { return refusedSentence(refusal, numericAddress(sender)); });
}

void Journal::notSpoken(const QString& text, const QString& reason)
{
    tell(LineCause::NotSpoken, [&] { return notSpokenSentence(text, reason); });
}

void Journal::turnedAway(LineCause cause, const sockaddr_storage& who, const QString& reason)
{
    tell(cause, [&] { return turnedAwaySentence(numericAddress(who), reason); });
}

void Journal::joined(const QString& role, const QString& address, bool microphone)
{
    tell(LineCause::Joined, [&] { return joinedSentence(role, address, microphone); });
}

void Journal::returned(const QString& role, const QString& address)
{
    tell(LineCause::Joined, [&] { return returnedSentence(role, address); });
}

void Journal::left(const QString& role, const QString& address, Departure why)
{
    const bool hadCome = why != Departure::NeverCame && why != Departure::Forged;
    tell(hadCome ? LineCause::Left : LineCause::NeverConnected, [&] {
        return leftSentence(role, address, why);
    });
}

void Journal::tellHeldBack(Clock::time_point now)
{
    for (const LineLimiter::Held& held : m_limiter.takeDue(now)) {
        m_output.write(heldBackSentence(held));
    }
    m_written();
}

} // namespace wingbell
