#pragma once

#include "relay/log/LogThrottle.h"
#include "relay/osc/OscRequest.h"
#include "relay/sessions/CrewEvents.h"

#include <QHostAddress>
#include <QStringList>

#include <functional>

namespace wingbell {

class LineWriter;

/// Tells a person what goes on, rate-limited by LogThrottle, and says again how to join when other
/// lines have pushed that out of sight. Main thread only.
class EventLog final : public CrewObserver
{
public:
    using Clock = LogThrottle::Clock;

    /// How to join is told again when so many other lines have followed it, but not more often than
    /// that. The control window keeps the last 500 lines.
    static constexpr std::size_t maxLinesBehind = 300;
    static constexpr Clock::duration minReminderInterval = std::chrono::seconds(10);

    /// Borrows `output`, which must outlive it. Calls `written` after whatever changes what output
    /// waits to be written or told. `now` is a monotonic clock.
    EventLog(
        LineWriter& output, std::function<void()> written,
        std::function<Clock::time_point()> now = Clock::now);

    void announced(const Announcement& announcement, const QHostAddress& sender);
    /// That an OSC packet or message, or a request of a browser, is rejected for `reason`.
    void rejected(Message reason, const QStringList& arguments, const QHostAddress& sender);
    void rejectedRequest(Message reason, const QHostAddress& sender);
    void silenced(std::size_t count, const QHostAddress& sender);
    /// A call or a cue light on those channels, or on every one if there are none; `sender` is for
    /// a person.
    void signalled(
        SignalRequest::Kind kind, const QStringList& channels, const QString& text,
        const QString& sender);
    void notSpoken(const QString& text, const QString& reason);

    void joined(const QString& role, const QString& address, bool microphone) override;
    void returned(const QString& role, const QString& address) override;
    void left(const QString& role, const QString& address, Departure why) override;
    void keptKeysOn(
        const QString& role, const QStringList& channels, std::chrono::minutes time) override;
    void called(const QString& role, const QString& channel) override;

    void repliesTo(const QHostAddress& receiver, quint16 port);
    /// What the desk's own page has done, a message of LogEvent::DeskPage.
    void deskDid(Message what, const QStringList& arguments);

    /// Tells `line`, or a message, in any case.
    void tell(const QString& line);
    void tell(Message message, const QStringList& arguments);

    /// Tells `lines` in any case, now and whenever many others have been told since.
    void tellHowToJoin(const QStringList& lines);

    /// When to call tellHeldBack() next; nullopt while there is nothing to tell.
    [[nodiscard]] std::optional<Clock::time_point> nextDue() const;

    /// Tells how many lines were held back and how to join, as far as that is due at `now`; at the
    /// end of time only the former.
    void tellHeldBack(Clock::time_point now);

private:
    template <typename Line> void tell(LogEvent event, const Line& line);

    void write(const QString& line);
    [[nodiscard]] std::optional<Clock::time_point> nextReminder() const;

    LineWriter& m_output;
    std::function<void()> m_written;
    std::function<Clock::time_point()> m_now;
    LogThrottle m_throttle;
    QStringList m_howToJoin;
    Clock::time_point m_howToJoinTold;
    std::size_t m_linesBehind = 0; ///< since then
};

} // namespace wingbell
