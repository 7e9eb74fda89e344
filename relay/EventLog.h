#pragma once

#include "relay/log/LineReminder.h"
#include "relay/log/LogThrottle.h"
#include "relay/osc/AnnouncementReading.h"
#include "relay/sessions/CrewEvents.h"

#include <QHostAddress>
#include <QStringList>

#include <functional>

namespace wingbell {

class LineWriter;

/// Tells a person what goes on, at most a few lines a second of each kind, and says again how to
/// join when other lines have pushed that out of sight. Main thread only.
class EventLog final : public CrewObserver
{
public:
    using Clock = LogThrottle::Clock;

    /// Borrows `output`, which must outlive it. Calls `written` after whatever changes what output
    /// waits to be written or told. `now` is the clock; it must be monotonic.
    EventLog(
        LineWriter& output, std::function<void()> written,
        std::function<Clock::time_point()> now = Clock::now);

    void announced(const Announcement& announcement, const QHostAddress& sender);
    /// That an OSC packet or message, or a request of a browser, is rejected for `reason`.
    void rejected(Message reason, const QStringList& arguments, const QHostAddress& sender);
    void rejectedRequest(Message reason, const QHostAddress& sender);
    void silenced(std::size_t count, const QHostAddress& sender);
    void notSpoken(const QString& text, const QString& reason);

    void joined(const QString& role, const QString& address, bool microphone) override;
    void returned(const QString& role, const QString& address) override;
    void left(const QString& role, const QString& address, Departure why) override;

    /// Tells `line`, or a message, in any case.
    void tell(const QString& line);
    void tell(Message message, const QStringList& arguments);

    /// Tells `lines` in any case, now and whenever many others have been told since.
    void tellHowToJoin(const QStringList& lines);

    /// When to call tellHeldBack() next; nothing while there is nothing to tell.
    [[nodiscard]] std::optional<Clock::time_point> nextDue() const;

    /// Tells how many lines were held back and how to join, as far as that is due at `now`; at the
    /// end of time only the former.
    void tellHeldBack(Clock::time_point now);

private:
    template <typename Line> void tell(LogEvent event, const Line& line);

    void write(const QString& line);

    LineWriter& m_output;
    std::function<void()> m_written;
    std::function<Clock::time_point()> m_now;
    LogThrottle m_throttle;
    QStringList m_howToJoin;
    LineReminder m_reminder; ///< of how to join
};

} // namespace wingbell
