#pragma once

#include "relay/audio/Room.h"
#include "relay/http/RequestLimiter.h"
#include "relay/osc/OscRequest.h"
#include "relay/osc/OscSocket.h"
#include "relay/sessions/ShowPatch.h"
#include "relay/speech/AnnouncementPlayer.h"

#include <QSet>

#include <functional>
#include <optional>

namespace wingbell {

class EventLog;

/// Receives OSC packets and has the announcements in them spoken in the room. Main thread only.
class Announcer
{
public:
    /// Takes the channels on which announcements sound now.
    using Sounding = std::function<void(const ChannelSet&)>;

    /// The rate limit for one sender, a token bucket: a cue player that runs wild, or a prank, must
    /// not fill the queue for the others. An ordinary cue list stays far below.
    static constexpr double announcementsASecond = 4;
    static constexpr int announcementsAtOnce = 16;

    /// Takes over the bound `socket`; borrows the others, which must outlive it.
    Announcer(
        const ShowPatch& show, OscSocket socket, Room& room, EventLog& log, Sounding sounding);
    Q_DISABLE_COPY_MOVE(Announcer)

    /// Readable when there is something to receive.
    [[nodiscard]] int descriptor() const { return m_socket.descriptor(); }

    /// Handles the packets that have arrived, a bounded number of them.
    void receive();

    /// Takes and speaks nothing any more.
    void stop();

private:
    void handle(const OscSocket::Datagram& datagram);
    void reject(const OscError& error, const QHostAddress& sender);
    void
    reject(AnnouncementError error, const Announcement& announcement, const QHostAddress& sender);
    void announce(const Announcement& announcement, const QHostAddress& sender);
    void silence(const QHostAddress& sender);
    void begun(const ChannelSet& channels);
    void ended(const PendingAnnouncement& announcement, const SpeechResult& result);

    const ShowPatch& m_show;
    QSet<QString> m_channels;
    OscSocket m_socket;
    EventLog& m_log;
    Sounding m_sounding;
    RequestLimiter m_limiter;
    std::uint64_t m_lastId = 0;
    ChannelSet m_soundingOn;
    std::optional<AnnouncementPlayer> m_player; ///< none once stopped
};

} // namespace wingbell
