#include "relay/sessions/CrewService.h"

#include "relay/api/CrewResponses.h"
#include "relay/net/IpAddress.h"

#include <QDir>
#include <QFile>
#include <QUrl>

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
    const QString suffix = name.section(QLatin1Char('.'), -1);
    if (suffix == QLatin1String("html")) {
        return "text/html; charset=utf-8";
    }
    if (suffix == QLatin1String("css")) {
        return "text/css; charset=utf-8";
    }
    if (suffix == QLatin1String("js")) {
        return "text/javascript; charset=utf-8";
    }
    return "image/svg+xml";
}

QStringList namesOf(const ShowPatch& show)
{
    QStringList names;
    for (const PatchedRole& role : show.roles()) {
        names.append(role.name);
    }
    return names;
}

/// The events of one page, as it reads them.
class StreamedEvents final : public CrewEvents
{
public:
    explicit StreamedEvents(EventStream stream)
        : m_stream(std::move(stream))
    {
    }

    void desk(const DeskEvent& desk) override { m_stream.send("desk", eventData(desk)); }
    void beat() override { m_stream.send("beat", "{}"); }
    void unheard() override { m_stream.send("unheard", "{}"); }
    void goodbye(Goodbye reason) override
    {
        m_stream.send("goodbye", eventData(reason));
        m_stream.close();
    }

private:
    EventStream m_stream;
};

void sendError(PendingResponse& response, int status, const char* word)
{
    response.sendJson(status, errorText(QLatin1String(word)));
}

} // namespace

CrewService::CrewService(
    HttpsServer& server, const ShowPatch& show, Crew& crew, Door door, WrongCode wrongCode)
    : m_show(show)
    , m_crew(crew)
    , m_door(std::move(door))
    , m_wrongCode(std::move(wrongCode))
    , m_guard(m_door.code)
    , m_keys(namesOf(show))
{
    addPages(server);
    addRequests(server);
}

void CrewService::addPages(HttpsServer& server)
{
    const QString help = QStringLiteral("help.html");
    for (const QString& name : builtIn().entryList(QDir::Files)) {
        // What explains the certificate is read before any style of ours can be fetched.
        const HttpHeaders headers =
            name == help
                ? HttpHeaders{{"Content-Security-Policy", "default-src 'none'; style-src 'unsafe-inline'"}}
                : HttpHeaders();
        server.addPage(pathOf(name), typeOf(name), bytesOf(name), headers);
    }
    server.setPlainPage(bytesOf(help));
}

/// Has `take` called with what `reader` reads from each body; bodies it refuses are answered here.
template <typename Reader, typename Take>
void CrewService::onPost(HttpsServer& server, const char* path, Reader reader, Take take)
{
    server.onPost(path, [reader, take](const HttpRequest& request, PendingResponse response) {
        const auto body = reader(request.body);
        if (!body) {
            response.sendJson(400, errorText(wordFor(body.error())));
            return;
        }
        take(*body, request.peer, std::move(response));
    });
}

void CrewService::addRequests(HttpsServer& server)
{
    using Peer = const QHostAddress&;
    onPost(
        server, "/api/roles", readCodeRequest,
        [this](const CodeRequest& request, Peer peer, PendingResponse response) {
            if (isAdmitted(request.code, peer, response)) {
                sendRoles(std::move(response));
            }
        });
    onPost(
        server, "/api/card", readCodeRequest,
        [this](const CodeRequest& request, Peer peer, PendingResponse response) {
            if (isAdmitted(request.code, peer, response)) {
                sendCard(std::move(response));
            }
        });
    onPost(
        server, "/api/join", readJoinRequest,
        [this](const JoinRequest& request, Peer peer, PendingResponse response) {
            if (isAdmitted(request.code, peer, response)) {
                join(request, peer, std::move(response));
            }
        });
    onPost(
        server, "/api/answer", readAnswerRequest,
        [this](const AnswerRequest& request, Peer, PendingResponse response) {
            if (m_crew.takeAnswer(request.session, request.answer, Clock::now())) {
                response.sendNothing();
            } else {
                sendError(response, 404, "no-such-session");
            }
        });
    onPost(
        server, "/api/state", readStateRequest,
        [this](const StateRequest& request, Peer, PendingResponse response) {
            if (m_crew.takeState(request, Clock::now())) {
                response.sendNothing();
            } else {
                sendError(response, 404, "no-such-session");
            }
        });
    onPost(
        server, "/api/leave", readLeaveRequest,
        [this](const LeaveRequest& request, Peer, PendingResponse response) {
            m_crew.leave(request.session);
            response.sendNothing();
        });
    server.onGet("/api/events", [this](const HttpRequest& request, PendingResponse response) {
        openEvents(request, std::move(response));
    });
}

/// True when `code` is the crew's. Otherwise the response is sent.
bool CrewService::isAdmitted(
    const QString& code, const QHostAddress& peer, PendingResponse& response)
{
    const auto checked = m_guard.check(peer, code, Clock::now());
    if (checked) {
        return true;
    }
    m_wrongCode(checked.error().kind, peer);
    if (checked.error().kind == CodeError::Kind::Wrong) {
        sendError(response, 403, "wrong-code");
    } else {
        response.sendJson(429, slowDownText(checked.error().wait));
    }
    return false;
}

void CrewService::sendRoles(PendingResponse response) const
{
    RolesResponse body;
    body.show = m_show.name();
    for (std::size_t place = 0; place < m_show.roles().size(); ++place) {
        body.roles.append(
            {m_keys.keys().at(static_cast<qsizetype>(place)), m_show.roles().at(place).name,
             static_cast<int>(m_crew.present(place))});
    }
    response.sendJson(200, responseText(body));
}

void CrewService::sendCard(PendingResponse response) const
{
    const QString page = m_door.urls.constFirst();
    const QString withCode = page + QStringLiteral("#code=") + m_door.code.text();
    CardResponse body;
    body.show = m_show.name();
    body.code = m_door.code.text();
    body.address = page;
    body.others = m_door.urls.mid(1);
    body.fingerprint = m_door.fingerprint;
    body.pageUrl = withCode;
    body.pageQr = qrCode(withCode.toUtf8()).value_or(QrCode());
    for (std::size_t place = 0; place < m_show.roles().size(); ++place) {
        const QString url =
            withCode + QStringLiteral("&role=") + m_keys.keys().at(static_cast<qsizetype>(place));
        body.roles.append(
            {m_show.roles().at(place).name, url, qrCode(url.toUtf8()).value_or(QrCode())});
    }
    response.sendJson(200, responseText(body));
}

void CrewService::join(
    const JoinRequest& request, const QHostAddress& peer, PendingResponse response)
{
    const std::optional<qsizetype> role = m_keys.roleOf(request.role);
    if (!role) {
        sendError(response, 404, "no-such-role");
        return;
    }
    const auto place = static_cast<std::size_t>(*role);
    const auto bodyFor = [this, place, key = request.role](const Crew::Joined& joined) {
        const PatchedRole& patched = m_show.roles().at(place);
        JoinResponse result{joined.session, m_show.name(), key, patched.name, {}, joined.offer};
        for (const std::size_t channel : patched.channels) {
            result.channels.append(
                {m_show.channels().at(static_cast<qsizetype>(channel)),
                 patched.talk.contains(channel), patched.listen.contains(channel)});
        }
        return result;
    };
    // A function object must be copyable, a response is not.
    const auto shared = std::make_shared<PendingResponse>(std::move(response));
    m_crew.join(
        {place, request.microphone, request.replaces.value_or(QString()), addressText(peer)},
        Clock::now(), [shared, bodyFor](const Crew::JoinOutcome& outcome) {
            if (outcome) {
                shared->sendJson(200, responseText(bodyFor(*outcome)));
                return;
            }
            const bool isFull = outcome.error() == Crew::JoinError::Full;
            sendError(*shared, 503, isFull ? "full" : "not-now");
        });
}

void CrewService::openEvents(const HttpRequest& request, PendingResponse response)
{
    const QString session =
        QString::fromLatin1(request.head.queryItem("session").value_or(QByteArray()));
    if (!m_crew.has(session)) {
        sendError(response, 404, "no-such-session");
        return;
    }
    (void)m_crew.takeEvents(
        session, std::make_unique<StreamedEvents>(response.openEvents()), Clock::now());
}

} // namespace wingbell
