#include "relay/DeskService.h"

#include "relay/Announcer.h"
#include "relay/EventLog.h"
#include "relay/Sentences.h"
#include "relay/access/CardKeys.h"
#include "relay/api/DeskOverview.h"
#include "relay/net/IpAddress.h"

#include <QUuid>

#include <algorithm>

namespace wingbell {

DeskService::DeskService(
    Router& router, const ShowPatch& show, Crew& crew, Announcer& announcer, EventLog& log,
    const CardKeys& keys)
    : m_show(show)
    , m_crew(crew)
    , m_announcer(announcer)
    , m_log(log)
    , m_keys(keys)
    , m_epoch(Clock::now())
{
    onPost(router, "/api/desk/open", readDeskOpenRequest, &DeskService::open);
    onPost(router, "/api/desk/close-keys", readCloseKeysRequest, &DeskService::closeKeys);
    onPost(router, "/api/desk/speak", readChannelsRequest, &DeskService::speak);
    using Kind = SignalRequest::Kind;
    onPost(router, "/api/desk/call", readChannelsRequest, &DeskService::signal<Kind::Call>);
    onPost(router, "/api/desk/standby", readChannelsRequest, &DeskService::signal<Kind::Standby>);
    onPost(router, "/api/desk/go", readChannelsRequest, &DeskService::signal<Kind::Go>);
    onPost(router, "/api/desk/clear", readChannelsRequest, &DeskService::signal<Kind::Clear>);
    onPost(router, "/api/desk/silence", readSessionRequest, &DeskService::silence);
    router.onGet("/api/desk/events", [this](const HttpRequest& request, PendingResponse response) {
        openEvents(request, std::move(response));
    });
    crew.onOverviewChanged([this] { showLater(); });
    m_showTimer.setSingleShot(true);
    m_showTimer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_showTimer, &QTimer::timeout, &m_showTimer, [this] { showToAll(); });
    QObject::connect(&m_heartbeatTimer, &QTimer::timeout, &m_heartbeatTimer, [this] { beat(); });
}

/// Has `take` called with what `read` reads from each body. Responds itself to a body that is
/// refused, and to one that names no session unless it asks for one.
template <typename Request>
void DeskService::onPost(
    Router& router, const char* path, Result<Request, RequestBodyError> (*read)(QByteArrayView),
    void (DeskService::*take)(const Request&, const QHostAddress&, PendingResponse))
{
    router.onPost(path, [this, read, take](const HttpRequest& request, PendingResponse response) {
        const auto body = read(request.body);
        if (!body) {
            response.sendError(400, wordFor(body.error()));
            return;
        }
        if constexpr (requires { body->session; }) {
            if (find(body->session) == nullptr) {
                response.sendError(404, "no-such-session");
                return;
            }
        }
        (this->*take)(*body, request.peer, std::move(response));
    });
}

DeskService::Page* DeskService::find(const QString& session)
{
    const auto found = std::ranges::find(m_pages, session, &Page::session);
    return found == m_pages.end() ? nullptr : &*found;
}

void DeskService::open(
    const DeskOpenRequest& request, const QHostAddress& peer, PendingResponse response)
{
    if (!m_keys.isDeskKey(request.key)) {
        m_log.rejectedRequest(Message::WrongDeskKey, peer);
        response.sendError(403, "wrong-key");
        return;
    }
    if (m_pages.size() >= maxPages) {
        const auto gone = std::ranges::find_if(
            m_pages, [](const Page& page) { return !page.events || !page.events->isOpen(); });
        const auto replaced = gone == m_pages.end() ? m_pages.begin() : gone;
        if (replaced->events) {
            replaced->events->send("replaced", "{}"); // or it would open again, in place of another
        }
        m_pages.erase(replaced);
    }
    const QString session = QUuid::createUuid().toString(QUuid::Id128); // random: it is a secret
    m_pages.push_back({session, addressText(peer), std::nullopt, {}});
    m_log.deskDid(Message::DeskOpened, {m_pages.back().address});
    QStringList roles;
    for (const PatchedRole& role : m_show.roles()) {
        roles.append(role.name);
    }
    response.sendJson(200, deskOpenedText(session, m_show.name(), m_show.channels(), roles));
}

void DeskService::openEvents(const HttpRequest& request, PendingResponse response)
{
    Page* page = find(QString::fromLatin1(request.queryItem("session").value_or(QByteArray())));
    if (page == nullptr) {
        response.sendError(404, "no-such-session");
        return;
    }
    page->events.emplace(response.openEvents());
    page->shown.clear();
    show(*page, overview());
    m_heartbeatTimer.start(heartbeatInterval);
}

void DeskService::closeKeys(
    const CloseKeysRequest& request, const QHostAddress& peer, PendingResponse response)
{
    const QStringList roles = m_crew.closeKeys(request.member);
    if (!roles.isEmpty()) {
        m_log.deskDid(
            Message::DeskClosedKeys,
            {addressText(peer), namesInWords(roles, QStringLiteral("role"))});
    }
    response.sendJson(200, countText(static_cast<std::size_t>(roles.size())));
}

/// Those of them that the show has.
ChannelSet DeskService::channelsOf(const ChannelsRequest& request) const
{
    ChannelSet channels(static_cast<std::size_t>(m_show.channels().size()));
    for (const int channel : request.channels) {
        if (static_cast<std::size_t>(channel) < channels.count()) {
            channels.insert(static_cast<std::size_t>(channel));
        }
    }
    return channels;
}

template <SignalRequest::Kind kind>
void DeskService::signal(
    const ChannelsRequest& request, const QHostAddress& peer, PendingResponse response)
{
    using Kind = SignalRequest::Kind;
    const ChannelSet channels = channelsOf(request);
    const QString text = request.text.trimmed();
    if (channels.isEmpty()) {
        response.sendError(400, "no-channel");
        return;
    }
    if (text.size() > maxLightText) {
        response.sendError(400, wordFor(RequestBodyError::TooLong));
        return;
    }
    if constexpr (kind == Kind::Call) {
        m_crew.call(channels, Clock::now());
    } else if constexpr (kind == Kind::Clear) {
        m_crew.clearSignals(channels);
    } else {
        const auto light = kind == Kind::Go ? Signals::LightKind::Go : Signals::LightKind::Standby;
        m_crew.showLight(channels, light, text, Clock::now());
    }
    m_log.signalled(
        kind, m_show.namesOf(channels), text,
        messageText(Message::DesksPageAt, {addressText(peer)}));
    response.sendNothing();
}

void DeskService::speak(
    const ChannelsRequest& request, const QHostAddress& peer, PendingResponse response)
{
    const ChannelSet channels = channelsOf(request);
    const QString text = request.text.trimmed();
    if (text.isEmpty()) {
        response.sendError(400, "blank-text");
    } else if (text.size() > maxAnnouncement) {
        response.sendError(400, wordFor(RequestBodyError::TooLong));
    } else if (channels.isEmpty()) {
        response.sendError(400, "no-channel");
    } else if (!m_announcer.announceFromDesk(text, channels, peer)) {
        response.sendError(503, "too-many-waiting");
    } else {
        response.sendNothing();
    }
}

void DeskService::silence(
    const SessionRequest& /*request*/, const QHostAddress& peer, PendingResponse response)
{
    const std::size_t count = m_announcer.silenceAll();
    if (count > 0) {
        m_log.deskDid(Message::DeskSilenced, {addressText(peer)});
    }
    response.sendJson(200, countText(count));
}

/// The timer runs only while there are pages: an idle server does not wake the machine.
void DeskService::showLater()
{
    if (!m_pages.empty() && !m_showTimer.isActive()) {
        m_showTimer.start(showInterval);
    }
}

void DeskService::showToAll()
{
    const QByteArray now = overview();
    for (Page& page : m_pages) {
        show(page, now);
    }
}

void DeskService::show(Page& page, const QByteArray& overview) const
{
    if (!page.events || !page.events->isOpen() || page.shown == overview) {
        return;
    }
    const auto age = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_epoch);
    page.events->send("crew", overviewEvent(overview, age));
    page.shown = overview;
}

void DeskService::beat()
{
    m_crew.checkTimeouts(Clock::now()); // lights end also while there is no crew
    bool isOpen = false;
    for (Page& page : m_pages) {
        if (page.events && page.events->isOpen()) {
            page.events->send("beat", "{}");
            isOpen = true;
        }
    }
    if (!isOpen) {
        m_heartbeatTimer.stop();
    }
}

QByteArray DeskService::overview() const
{
    return overviewText(m_crew.overview(), m_epoch);
}

void DeskService::goOffAir()
{
    m_showTimer.stop();
    m_heartbeatTimer.stop();
    for (Page& page : m_pages) {
        if (page.events) {
            page.events->send("goodbye", "{}");
            page.events->close();
        }
    }
}

} // namespace wingbell
