#pragma once

#include "relay/audio/Room.h"
#include "relay/http/RequestLimiter.h"
#include "relay/osc/AnnouncementReading.h"
#include "relay/osc/OscSocket.h"
#include "relay/sessions/ShowPatch.h"
#include "relay/speech/SpeechWorker.h"

#include <QSet>

#include <functional>
#include <memory>

namespace wingbell {

class EventLog;

/// From an OSC packet to speech in the crew's ears. Main thread only.
class Announcer
{
public:
    /// Tells on which channels announcements sound now.
    using Sounding = std::function<void(const ChannelSet&)>;

    /// So many a second from one address, and so many at once: a cue player that runs wild, or a
    /// prank, must not fill the queue for everybody. A cue list in earnest stays far below.
    static constexpr double announcementsASecond = 4;
    static constexpr int announcementsAtOnce = 16;

    /// Takes over the bound `socket`; borrows the others, which must outlive it.
    Announcer(
        const ShowPatch& show, OscSocket socket, Room& room, EventLog& log, Sounding sounding);
    ~Announcer();
    Q_DISABLE_COPY_MOVE(Announcer)

    /// Readable when there is something to receive.
    [[nodiscard]] int descriptor() const { return m_socket.descriptor(); }

    /// Takes what has arrived, a bounded part of a flood.
    void receive();

    /// Takes and speaks nothing any more. Within a moment.
    void stop();

private:
    void handle(const OscSocket::Datagram& datagram);
    void reject(const OscError& error, const QHostAddress& sender);
    void reject(Admission why, const Announcement& announcement, const QHostAddress& sender);
    void announce(const Announcement& announcement, const QHostAddress& sender);
    void silence(const QHostAddress& sender);
    void begun(const ChannelSet& channels);
    void ended(const SpeechReport& report);

    const ShowPatch& m_show;
    QSet<QString> m_channels;
    OscSocket m_socket;
    EventLog& m_log;
    Sounding m_sounding;
    RequestLimiter m_limiter;
    std::uint64_t m_lastId = 0;
    ChannelSet m_soundingOn;
    std::shared_ptr<Announcer*> m_self; ///< what came late from the worker finds null in it
    std::unique_ptr<SpeechWorker> m_worker;
};

} // namespace wingbell
