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

void sendError(WebReply& reply, int status, const char* word)
{
    reply.sendJson(status, errorText(QLatin1String(word)));
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
        const WebHeaders headers =
            name == help
                ? WebHeaders{{"Content-Security-Policy", "default-src 'none'; style-src 'unsafe-inline'"}}
                : WebHeaders();
        server.addPage(pathOf(name), typeOf(name), bytesOf(name), headers);
    }
    server.setPlainPage(bytesOf(help));
}

/// Has `take` called with what `reader` reads from each body; bodies it refuses are answered here.
template <typename Reader, typename Take>
void CrewService::onPost(HttpsServer& server, const char* path, Reader reader, Take take)
{
    server.onPost(path, [reader, take](const WebRequest& request, WebReply reply) {
        const auto body = reader(request.body);
        if (!body) {
            reply.sendJson(400, errorText(wordFor(body.error())));
            return;
        }
        take(*body, request.peer, std::move(reply));
    });
}

void CrewService::addRequests(HttpsServer& server)
{
    using Peer = const QHostAddress&;
    onPost(
        server, "/api/roles", readCodeRequest,
        [this](const CodeRequest& request, Peer peer, WebReply reply) {
            if (isAdmitted(request.code, peer, reply)) {
                sendRoles(std::move(reply));
            }
        });
    onPost(
        server, "/api/card", readCodeRequest,
        [this](const CodeRequest& request, Peer peer, WebReply reply) {
            if (isAdmitted(request.code, peer, reply)) {
                sendCard(std::move(reply));
            }
        });
    onPost(
        server, "/api/join", readJoinRequest,
        [this](const JoinRequest& request, Peer peer, WebReply reply) {
            if (isAdmitted(request.code, peer, reply)) {
                join(request, peer, std::move(reply));
            }
        });
    onPost(
        server, "/api/answer", readAnswerRequest,
        [this](const AnswerRequest& request, Peer, WebReply reply) {
            if (m_crew.takeAnswer(request.session, request.answer, Clock::now())) {
                reply.sendNothing();
            } else {
                sendError(reply, 404, "no-such-session");
            }
        });
    onPost(
        server, "/api/state", readStateRequest,
        [this](const StateRequest& request, Peer, WebReply reply) {
            if (m_crew.takeState(request, Clock::now())) {
                reply.sendNothing();
            } else {
                sendError(reply, 404, "no-such-session");
            }
        });
    onPost(
        server, "/api/leave", readLeaveRequest,
        [this](const LeaveRequest& request, Peer, WebReply reply) {
            m_crew.leave(request.session);
            reply.sendNothing();
        });
    server.onGet("/api/events", [this](const WebRequest& request, WebReply reply) {
        openEvents(request, std::move(reply));
    });
}

/// True when `code` is the crew's. Otherwise the reply is sent.
bool CrewService::isAdmitted(const QString& code, const QHostAddress& peer, WebReply& reply)
{
    const auto checked = m_guard.check(peer, code, Clock::now());
    if (checked) {
        return true;
    }
    m_wrongCode(checked.error().kind, peer);
    if (checked.error().kind == CodeError::Kind::Wrong) {
        sendError(reply, 403, "wrong-code");
    } else {
        reply.sendJson(429, slowDownText(checked.error().wait));
    }
    return false;
}

void CrewService::sendRoles(WebReply reply) const
{
    RolesResponse response;
    response.show = m_show.name();
    for (std::size_t place = 0; place < m_show.roles().size(); ++place) {
        response.roles.append(
            {m_keys.keys().at(static_cast<qsizetype>(place)), m_show.roles().at(place).name,
             static_cast<int>(m_crew.present(place))});
    }
    reply.sendJson(200, responseText(response));
}

void CrewService::sendCard(WebReply reply) const
{
    const QString page = m_door.urls.constFirst();
    const QString withCode = page + QStringLiteral("#code=") + m_door.code.text();
    CardResponse response;
    response.show = m_show.name();
    response.code = m_door.code.text();
    response.address = page;
    response.others = m_door.urls.mid(1);
    response.fingerprint = m_door.fingerprint;
    response.pageUrl = withCode;
    response.pageQr = qrCode(withCode.toUtf8()).value_or(QrCode());
    for (std::size_t place = 0; place < m_show.roles().size(); ++place) {
        const QString url =
            withCode + QStringLiteral("&role=") + m_keys.keys().at(static_cast<qsizetype>(place));
        response.roles.append(
            {m_show.roles().at(place).name, url, qrCode(url.toUtf8()).value_or(QrCode())});
    }
    reply.sendJson(200, responseText(response));
}

void CrewService::join(const JoinRequest& request, const QHostAddress& peer, WebReply reply)
{
    const std::optional<qsizetype> role = m_keys.roleOf(request.role);
    if (!role) {
        sendError(reply, 404, "no-such-role");
        return;
    }
    const auto place = static_cast<std::size_t>(*role);
    const auto response = [this, place, key = request.role](const Crew::Joined& joined) {
        const PatchedRole& patched = m_show.roles().at(place);
        JoinResponse result{joined.session, m_show.name(), key, patched.name, {}, joined.offer};
        for (const std::size_t channel : patched.channels) {
            result.channels.append(
                {m_show.channels().at(static_cast<qsizetype>(channel)),
                 patched.talk.contains(channel), patched.listen.contains(channel)});
        }
        return result;
    };
    // A function object must be copyable, a reply is not.
    const auto shared = std::make_shared<WebReply>(std::move(reply));
    m_crew.join(
        {place, request.microphone, request.replaces.value_or(QString()), addressText(peer)},
        Clock::now(), [shared, response](const Crew::JoinOutcome& outcome) {
            if (outcome) {
                shared->sendJson(200, responseText(response(*outcome)));
                return;
            }
            const bool isFull = outcome.error() == Crew::JoinError::Full;
            sendError(*shared, 503, isFull ? "full" : "not-now");
        });
}

void CrewService::openEvents(const WebRequest& request, WebReply reply)
{
    const QString session =
        QString::fromLatin1(request.queryItem("session").value_or(QByteArray()));
    if (!m_crew.has(session)) {
        sendError(reply, 404, "no-such-session");
        return;
    }
    (void)m_crew.takeEvents(
        session, std::make_unique<StreamedEvents>(reply.openEvents()), Clock::now());
}

} // namespace wingbell
