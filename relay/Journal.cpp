#include "relay/Journal.h"

#include "relay/Sentences.h"
#include "relay/net/IpAddress.h"
#include "relay/words/LineWriter.h"

#include <algorithm>

namespace wingbell {

Journal::Journal(
    LineWriter& output, std::function<void()> written, std::function<Clock::time_point()> now)
    : m_output(output)
    , m_written(std::move(written))
    , m_now(std::move(now))
{
}

/// The sentence is made only when it is going to be told: a flood is to cost little.
template <typename Line> void Journal::tell(LineCause cause, const Line& line)
{
    if (m_limiter.admit(cause, m_now())) {
        write(line());
    }
    m_written();
}

void Journal::tell(const QString& line)
{
    write(line);
    m_written();
}

void Journal::tellHowToJoin(const QStringList& lines)
{
    m_howToJoin = lines;
    for (const QString& line : m_howToJoin) {
        write(line);
    }
    m_reminder.shown(m_now());
    m_written();
}

void Journal::write(const QString& line)
{
    m_output.write(line);
    m_reminder.otherLineWritten();
}

void Journal::announced(const Announcement& announcement, const QHostAddress& sender)
{
    tell(
        LineCause::Announced, [&] { return announcedSentence(announcement, addressText(sender)); });
}

void Journal::refused(const Refusal& refusal, const QHostAddress& sender)
{
    tell(refusal.cause, [&] { return refusedSentence(refusal, addressText(sender)); });
}

void Journal::silenced(std::size_t count, const QHostAddress& sender)
{
    tell(LineCause::Silenced, [&] { return silencedSentence(count, addressText(sender)); });
}

void Journal::notSpoken(const QString& text, const QString& reason)
{
    tell(LineCause::NotSpoken, [&] { return notSpokenSentence(text, reason); });
}

void Journal::turnedAway(LineCause cause, const QHostAddress& who, const QString& reason)
{
    tell(cause, [&] { return turnedAwaySentence(addressText(who), reason); });
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

std::optional<Journal::Clock::time_point> Journal::nextDue() const
{
    const auto held = m_limiter.nextDue();
    const auto reminder = m_reminder.nextDue();
    return held && reminder ? std::min(*held, *reminder) : held ? held : reminder;
}

void Journal::tellHeldBack(Clock::time_point now)
{
    for (const LineLimiter::Held& held : m_limiter.takeDue(now)) {
        write(heldBackSentence(held));
    }
    const auto reminder = m_reminder.nextDue();
    if (reminder && *reminder <= now && now != Clock::time_point::max()) {
        tellHowToJoin(QStringList(m_howToJoin));
    }
    m_written();
}

} // namespace wingbell
