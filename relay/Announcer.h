#pragma once

#include "relay/audio/Room.h"
#include "relay/http/RequestLimiter.h"
#include "relay/osc/OscRequest.h"
#include "relay/sessions/ShowPatch.h"
#include "relay/speech/AnnouncementPlayer.h"

#include <functional>
#include <optional>

namespace wingbell {

class EventLog;

/// Has announcements spoken in the room, within the limits for each sender. Main thread only.
class Announcer
{
public:
    /// Is told what the crew can hear.
    struct Observer
    {
        std::function<void(const QString& text, const ChannelSet& channels)> begun;
        /// Takes the channels on which announcements sound now.
        std::function<void(const ChannelSet& channels)> sounding;
    };

    /// The rate limit for one sender, a token bucket: a cue player that runs wild, or a prank, must
    /// not fill the queue for the others. An ordinary cue list stays far below.
    static constexpr double announcementsASecond = 4;
    static constexpr int announcementsAtOnce = 16;

    /// Borrows all of them; they must outlive it.
    Announcer(const ShowPatch& show, Room& room, EventLog& log, Observer observer);
    Q_DISABLE_COPY_MOVE(Announcer)

    /// Has `announcement` of a cue player spoken, or tells the log why not.
    void announce(const Announcement& announcement, const QHostAddress& sender);

    /// Fades out and drops what `sender` has announced. Not rate-limited: who sends too much must
    /// be able to take it back.
    void silence(const QHostAddress& sender);

    /// Has `text` spoken on `channels` for the desk's own page at `sender`. False when too much is
    /// waiting already.
    bool
    announceFromDesk(const QString& text, const ChannelSet& channels, const QHostAddress& sender);

    /// Fades out what is spoken and drops what waits. Returns how many announcements that were.
    std::size_t silenceAll();

    /// Speaks nothing any more.
    void stop();

private:
    void
    reject(AnnouncementError error, const Announcement& announcement, const QHostAddress& sender);
    [[nodiscard]] std::optional<AnnouncementError>
    speak(const QString& text, const ChannelSet& channels, const std::string& sender);
    void begun(const PendingAnnouncement& announcement);
    void ended(const PendingAnnouncement& announcement, const SpeechResult& result);

    const ShowPatch& m_show;
    EventLog& m_log;
    Observer m_observer;
    RequestLimiter m_limiter;
    std::uint64_t m_lastId = 0;
    ChannelSet m_soundingOn;
    std::optional<AnnouncementPlayer> m_player; ///< none once stopped
};

} // namespace wingbell
