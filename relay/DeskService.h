#pragma once

#include "relay/api/CrewRequests.h"
#include "relay/http/Router.h"
#include "relay/osc/OscRequest.h"
#include "relay/sessions/Crew.h"

#include <QTimer>

#include <chrono>
#include <list>

namespace wingbell {

class Announcer;
class CardKeys;
class EventLog;

/// The desk's own page: shows who is there and whose keys are open, closes keys, has texts spoken
/// and silences announcements. It can open no key. Main thread only.
///
/// With the key of CardKeys a page opens a session, whose random name is then the right to see and
/// do all that.
class DeskService
{
public:
    /// Further pages take the place of one that is not there any more, or else of the oldest.
    static constexpr std::size_t maxPages = 8;
    /// What changes is shown after so long, with all that has changed meanwhile.
    static constexpr std::chrono::milliseconds showInterval{100};
    static constexpr std::chrono::milliseconds heartbeatInterval{2000};

    /// Borrows all of them; they must outlive it, and it must outlive `router`.
    DeskService(
        Router& router, const ShowPatch& show, Crew& crew, Announcer& announcer, EventLog& log,
        const CardKeys& keys);
    Q_DISABLE_COPY_MOVE(DeskService)

    /// Tells the pages that the show is over.
    void goOffAir();

private:
    using Clock = std::chrono::steady_clock;

    struct Page
    {
        QString session;
        QString address; ///< for a person
        std::optional<EventStream> events;
        QByteArray shown; ///< the overview as it was sent last
    };

    template <typename Request>
    void onPost(
        Router& router, const char* path, Result<Request, RequestBodyError> (*read)(QByteArrayView),
        void (DeskService::*take)(const Request&, const QHostAddress&, PendingResponse));
    [[nodiscard]] Page* find(const QString& session);

    void open(const DeskOpenRequest& request, const QHostAddress& peer, PendingResponse response);
    void openEvents(const HttpRequest& request, PendingResponse response);
    void
    closeKeys(const CloseKeysRequest& request, const QHostAddress& peer, PendingResponse response);
    void speak(const ChannelsRequest& request, const QHostAddress& peer, PendingResponse response);
    void silence(const SessionRequest& request, const QHostAddress& peer, PendingResponse response);
    template <SignalRequest::Kind kind>
    void signal(const ChannelsRequest& request, const QHostAddress& peer, PendingResponse response);
    [[nodiscard]] ChannelSet channelsOf(const ChannelsRequest& request) const;

    void showLater();
    void showToAll();
    void show(Page& page, const QByteArray& overview) const;
    void beat();
    [[nodiscard]] QByteArray overview() const;

    const ShowPatch& m_show;
    Crew& m_crew;
    Announcer& m_announcer;
    EventLog& m_log;
    const CardKeys& m_keys;
    Clock::time_point m_epoch;
    std::list<Page> m_pages; ///< the oldest first
    QTimer m_showTimer;
    QTimer m_heartbeatTimer;
};

} // namespace wingbell
