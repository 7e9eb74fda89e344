#include "relay/sessions/CrewService.h"

#include "relay/api/CrewResponses.h"

#include <QDir>
#include <QFile>
#include <QHash>

#include <algorithm>

namespace wingbell {

namespace {

/// Whatever is built in for browsers stands under its own name, the pages under shorter ones.
QDir builtIn()
{
    return QDir(QStringLiteral(":/crew"));
}

QByteArray bytesOf(const QString& name)
{
    QFile file(builtIn().filePath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray pathOf(const QString& name)
{
    if (name == QLatin1String("crew.html")) {
        return "/";
    }
    const QString suffix = QStringLiteral(".html");
    return '/' + (name.endsWith(suffix) ? name.chopped(suffix.size()) : name).toLatin1();
}

QByteArray typeOf(const QString& name)
{
    static const QHash<QString, QByteArray> types = {
        {QStringLiteral("html"), "text/html; charset=utf-8"},
        {QStringLiteral("css"), "text/css; charset=utf-8"},
        {QStringLiteral("js"), "text/javascript; charset=utf-8"},
        {QStringLiteral("svg"), "image/svg+xml"}};
    return types.value(name.section(QLatin1Char('.'), -1));
}

/// The events of one page, as it reads them.
class StreamedEvents final : public PageEvents
{
public:
    explicit StreamedEvents(EventStream stream)
        : m_stream(std::move(stream))
    {
    }

    void desk(const DeskEvent& desk) override { m_stream.send("desk", eventData(desk)); }
    void heartbeat(std::chrono::milliseconds retryWindow) override
    {
        m_stream.send("beat", heartbeatData(retryWindow));
    }
    void unheard() override { m_stream.send("unheard", "{}"); }
    void forgotten(const std::vector<int>& channels) override
    {
        m_stream.send("forgotten", forgottenData(channels));
    }
    void announcement(const QString& text) override
    {
        m_stream.send("announcement", announcementData(text));
    }
    void keysClosed(quint64 count) override { m_stream.send("closed", keysClosedData(count)); }
    void goodbye(Goodbye reason) override
    {
        m_stream.send("goodbye", eventData(reason));
        m_stream.close();
    }
    void handedOver(std::chrono::milliseconds retryAfter) override
    {
        m_stream.send("goodbye", handedOverData(retryAfter));
        m_stream.close();
    }

private:
    EventStream m_stream;
};

/// Responds to a message of a session that is there, or is not.
void respond(PendingResponse response, bool hasSession)
{
    if (hasSession) {
        response.sendNothing();
    } else {
        response.sendError(404, "no-such-session");
    }
}

} // namespace

CrewService::CrewService(
    Router& router, const ShowPatch& show, Crew& crew, Door door, Refused refused)
    : m_show(show)
    , m_crew(crew)
    , m_door(std::move(door))
    , m_refused(std::move(refused))
    , m_guard(m_door.code)
{
    addPages(router);
    addRequests(router);
    m_keyTimer.setSingleShot(true);
    m_keyTimer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_keyTimer, &QTimer::timeout, &m_keyTimer, [this] {
        m_crew.checkTimeouts(Clock::now());
        waitForKeys();
    });
}

void CrewService::addPages(Router& router)
{
    const QString help = QStringLiteral("help.html");
    for (const QString& name : builtIn().entryList(QDir::Files)) {
        // What explains the certificate is read before any style of ours can be fetched.
        const QByteArray policy =
            name == help ? "default-src 'none'; style-src 'unsafe-inline'" : defaultPagePolicy();
        router.addPage(pathOf(name), typeOf(name), bytesOf(name), policy);
    }
    router.setPlainPage(bytesOf(help));
}

/// False, and responded to, if `body` brings a code or a key that does not let anyone in.
template <typename Body>
bool CrewService::mayContinue(const Body& body, const QHostAddress& peer, PendingResponse& response)
{
    if constexpr (requires { body.key; }) {
        return isAdmitted(body, peer, response);
    } else if constexpr (requires { body.credential; }) {
        return isAdmitted(body.credential, peer, response);
    } else {
        return true;
    }
}

/// Has `take` called with what `reader` reads from each body. Responds itself to a body that is
/// refused, and to one that brings a wrong code or key.
template <typename Reader, typename Take>
void CrewService::onPost(Router& router, const char* path, Reader reader, Take take)
{
    router.onPost(path, [this, reader, take](const HttpRequest& request, PendingResponse response) {
        const auto body = reader(request.body);
        if (!body) {
            response.sendError(400, wordFor(body.error()));
            return;
        }
        if (!mayContinue(*body, request.peer, response)) {
            return;
        }
        take(*body, request.peer, std::move(response));
    });
}

void CrewService::addRequests(Router& router)
{
    using Peer = const QHostAddress&;
    onPost(
        router, "/api/roles", readCredential,
        [this](const Credential&, Peer, PendingResponse response) {
            sendRoles(std::move(response));
        });
    onPost(
        router, "/api/card", readCredential,
        [this](const Credential&, Peer, PendingResponse response) {
            sendCard(std::move(response));
        });
    onPost(
        router, "/api/join", readJoinRequest,
        [this](const JoinRequest& request, Peer peer, PendingResponse response) {
            join(request, peer, std::move(response));
        });
    onPost(
        router, "/api/answer", readAnswerRequest,
        [this](const AnswerRequest& request, Peer, PendingResponse response) {
            respond(
                std::move(response),
                m_crew.takeAnswer(request.session, request.answer, Clock::now()));
        });
    onPost(
        router, "/api/state", readStateRequest,
        [this](const StateRequest& request, Peer, PendingResponse response) {
            respond(std::move(response), m_crew.takeState(request, Clock::now()));
            waitForKeys();
        });
    onPost(
        router, "/api/call", readCallRequest,
        [this](const CallRequest& request, Peer, PendingResponse response) {
            const auto taken = m_crew.takeCall(request, Clock::now());
            if (!taken && taken.error().error == Crew::CallError::TooMany) {
                response.sendJson(429, slowDownText(taken.error().wait));
            } else {
                respond(std::move(response), taken.has_value());
            }
        });
    onPost(
        router, "/api/acknowledge", readAcknowledgeRequest,
        [this](const AcknowledgeRequest& request, Peer, PendingResponse response) {
            respond(std::move(response), m_crew.takeAcknowledgement(request, Clock::now()));
        });
    onPost(
        router, "/api/leave", readSessionRequest,
        [this](const SessionRequest& request, Peer, PendingResponse response) {
            m_crew.leave(request.session);
            response.sendNothing();
        });
    router.onGet("/api/events", [this](const HttpRequest& request, PendingResponse response) {
        openEvents(request, std::move(response));
    });
}

/// True when `credential` lets a person in. Otherwise the response is sent.
///
/// A key cannot be guessed, so the rate of wrong ones is not limited here: one costs an HMAC, a
/// small part of what the request itself costs, and requests are limited for each address.
bool CrewService::isAdmitted(
    const Credential& credential, const QHostAddress& peer, PendingResponse& response)
{
    if (!credential.key.isEmpty()) {
        if (m_door.keys.matches(credential.key, credential.cardRole)) {
            return true;
        }
        m_refused(AccessError::WrongKey, peer);
        response.sendError(403, "wrong-code");
        return false;
    }
    const auto checked = m_guard.check(peer, credential.code, Clock::now());
    if (checked) {
        return true;
    }
    if (checked.error().kind == CodeError::Kind::Wrong) {
        m_refused(AccessError::WrongCode, peer);
        response.sendError(403, "wrong-code");
    } else {
        m_refused(AccessError::SlowDown, peer);
        response.sendJson(429, slowDownText(checked.error().wait));
    }
    return false;
}

void CrewService::sendRoles(PendingResponse response) const
{
    RolesResponse body;
    body.show = m_show.name();
    for (std::size_t place = 0; place < m_show.roles().size(); ++place) {
        const PatchedRole& role = m_show.roles().at(place);
        body.roles.append({role.key, role.name, static_cast<int>(m_crew.present(place))});
    }
    response.sendJson(200, responseText(body));
}

/// What the QR code of the card for `role` opens; of the one for the door if that is empty. Behind
/// the # the key stays in the browser: no request and so no log has it.
QString CrewService::cardUrl(const QString& role) const
{
    const QString url =
        m_door.address.urls.constFirst() + QStringLiteral("#key=") + m_door.keys.keyFor(role);
    return role.isEmpty() ? url : url + QStringLiteral("&role=") + role;
}

void CrewService::sendCard(PendingResponse response) const
{
    CardResponse body;
    body.show = m_show.name();
    body.code = m_door.code.text();
    body.address = m_door.address.urls.constFirst();
    body.others = m_door.address.urls.mid(1);
    body.fingerprint = m_door.address.fingerprint;
    body.authority = m_door.address.authority;
    body.pageUrl = cardUrl({});
    body.pageQr = qrCode(body.pageUrl.toUtf8()).value_or(QrCode());
    for (const PatchedRole& role : m_show.roles()) {
        const QString url = cardUrl(role.key);
        body.roles.append({role.name, url, qrCode(url.toUtf8()).value_or(QrCode())});
    }
    response.sendJson(200, responseText(body));
}

void CrewService::join(
    const JoinRequest& request, const QHostAddress& peer, PendingResponse response)
{
    const std::optional<std::size_t> place = m_show.roleWithKey(request.role);
    if (!place) {
        response.sendError(404, "no-such-role");
        return;
    }
    const auto joined = m_crew.join(
        {*place, request.microphone, request.replaces.value_or(QString()), peer}, Clock::now());
    if (!joined) {
        if (joined.error() == Crew::JoinError::Full) {
            response.sendError(503, "full");
        } else {
            response.sendJson(503, notNowText(m_crew.takeRetryTime(Clock::now())));
        }
        return;
    }
    const PatchedRole& role = m_show.roles().at(*place);
    JoinResponse body{joined->session, m_show.name(), role.key, role.name, {}, joined->offer};
    for (const std::size_t channel : role.channels) {
        body.channels.append(
            {m_show.channels().at(static_cast<qsizetype>(channel)), role.talk.contains(channel),
             role.listen.contains(channel)});
    }
    response.sendJson(200, responseText(body));
}

void CrewService::openEvents(const HttpRequest& request, PendingResponse response)
{
    const QString session =
        QString::fromLatin1(request.queryItem("session").value_or(QByteArray()));
    if (!m_crew.has(session)) {
        response.sendError(404, "no-such-session");
        return;
    }
    (void)m_crew.takeEvents(
        session, std::make_unique<StreamedEvents>(response.openEvents()), Clock::now());
}

/// Has keys shown that the crew's throttle holds back.
void CrewService::waitForKeys()
{
    if (const auto due = m_crew.keysDue(); due && !m_keyTimer.isActive()) {
        m_keyTimer.start(std::max(
            std::chrono::ceil<std::chrono::milliseconds>(*due - Clock::now()),
            std::chrono::milliseconds(0)));
    }
}

} // namespace wingbell
