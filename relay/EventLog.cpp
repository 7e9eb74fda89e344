#include "relay/EventLog.h"

#include "base/LineText.h"
#include "relay/Sentences.h"
#include "relay/log/LineWriter.h"
#include "relay/net/IpAddress.h"

#include <algorithm>

namespace wingbell {

EventLog::EventLog(
    LineWriter& output, std::function<void()> written, std::function<Clock::time_point()> now)
    : m_output(output)
    , m_written(std::move(written))
    , m_now(std::move(now))
{
}

/// The sentence is made only if it is going to be told, so that a flood costs little.
template <typename Line> void EventLog::tell(LogEvent event, const Line& line)
{
    if (m_throttle.admit(event, m_now())) {
        write(line());
    }
    m_written();
}

void EventLog::tell(const QString& line)
{
    write(line);
    m_written();
}

void EventLog::tellHowToJoin(const QStringList& lines)
{
    m_howToJoin = lines;
    for (const QString& line : m_howToJoin) {
        write(line);
    }
    m_howToJoinTold = m_now();
    m_linesBehind = 0;
    m_written();
}

void EventLog::write(const QString& line)
{
    m_output.write(line);
    ++m_linesBehind;
}

void EventLog::tell(Message message, const QStringList& arguments)
{
    tell(messageText(message, arguments));
}

void EventLog::announced(const Announcement& announcement, const QHostAddress& sender)
{
    tell(LogEvent::Announced, [&] { return announcedSentence(announcement, addressText(sender)); });
}

void EventLog::rejected(Message reason, const QStringList& arguments, const QHostAddress& sender)
{
    const LogEvent event = eventOf(reason);
    const bool isPacket = event == LogEvent::UnreadablePacket;
    tell(event, [&] {
        return messageText(
            isPacket ? Message::RejectedPacket : Message::RejectedMessage,
            {addressText(sender), messageText(reason, arguments)});
    });
}

void EventLog::rejectedRequest(Message reason, const QHostAddress& sender)
{
    tell(eventOf(reason), [&] {
        return messageText(Message::RejectedRequest, {addressText(sender), messageText(reason)});
    });
}

void EventLog::silenced(std::size_t count, const QHostAddress& sender)
{
    tell(LogEvent::Silenced, [&] {
        const QString who = addressText(sender);
        return count == 0 ? messageText(Message::NothingToSilence, {who})
                          : messageText(Message::Silenced, {QString::number(count), who});
    });
}

void EventLog::signalled(
    SignalRequest::Kind kind, const QStringList& channels, const QString& text,
    const QString& sender)
{
    tell(LogEvent::Signal, [&] { return signalSentence(kind, channels, text, sender); });
}

void EventLog::notSpoken(const QString& text, const QString& reason)
{
    tell(LogEvent::NotSpoken, [&] {
        return messageText(Message::NotSpoken, {quoted(text), reason});
    });
}

void EventLog::joined(const QString& role, const QString& address, bool microphone)
{
    tell(LogEvent::Joined, [&] {
        return messageText(
            microphone ? Message::Joined : Message::JoinedWithoutMicrophone,
            {address, quoted(role)});
    });
}

void EventLog::returned(const QString& role, const QString& address)
{
    tell(LogEvent::Joined, [&] { return messageText(Message::Returned, {address, quoted(role)}); });
}

void EventLog::left(const QString& role, const QString& address, Departure why)
{
    const bool hadCome = why != Departure::NeverCame && why != Departure::Forged;
    tell(hadCome ? LogEvent::Left : LogEvent::NeverConnected, [&] {
        return leftSentence(role, address, why);
    });
}

void EventLog::keptKeysOn(
    const QString& role, const QStringList& channels, std::chrono::minutes time)
{
    tell(LogEvent::ForgottenKey, [&] { return forgottenKeySentence(role, channels, time); });
}

void EventLog::called(const QString& role, const QString& channel)
{
    signalled(SignalRequest::Kind::Call, {channel}, {}, quoted(role));
}

void EventLog::repliesTo(const QHostAddress& receiver, quint16 port)
{
    tell(LogEvent::Signal, [&] {
        return messageText(Message::RepliesTo, {addressText(receiver), QString::number(port)});
    });
}

void EventLog::deskDid(Message what, const QStringList& arguments)
{
    tell(eventOf(what), [&] { return messageText(what, arguments); });
}

/// When to say again how to join; nullopt while that is still in sight or was never told.
std::optional<EventLog::Clock::time_point> EventLog::nextReminder() const
{
    if (m_howToJoin.isEmpty() || m_linesBehind < maxLinesBehind) {
        return std::nullopt;
    }
    return m_howToJoinTold + minReminderInterval;
}

std::optional<EventLog::Clock::time_point> EventLog::nextDue() const
{
    const auto held = m_throttle.nextDue();
    const auto reminder = nextReminder();
    return held && reminder ? std::min(*held, *reminder) : held ? held : reminder;
}

void EventLog::tellHeldBack(Clock::time_point now)
{
    for (const LogThrottle::Held& held : m_throttle.takeDue(now)) {
        write(heldBackText(held.event, held.lines));
    }
    const auto reminder = nextReminder();
    if (reminder && *reminder <= now && now != Clock::time_point::max()) {
        tellHowToJoin(QStringList(m_howToJoin));
    }
    m_written();
}

} // namespace wingbell
