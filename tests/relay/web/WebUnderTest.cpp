#include "WebUnderTest.h"

#include "TestCertificate.h"

#include <QDir>

#include <algorithm>
#include <glib.h>

namespace wingbell {

WebUnderTest::WebUnderTest(const WebLimits& limits)
{
    static const QByteArray pem = TestCertificate::make("desk").pem();
    TcpListener::Opening opening = TcpListener::open(0);
    port = opening.listener.value().port();
    server = HttpsServer::open(std::move(*opening.listener), pem, limits).server;
    server->setPlainPage("<p>Crew only over https</p>");
    server->addPage("/", "text/html; charset=utf-8", "<p>The desk</p>");
    server->onRefused([this](WebRefusal cause, const QHostAddress&) { refusals.push_back(cause); });
    server->onPost("/api/echo", [this](const WebRequest& request, WebReply reply) {
        requests.push_back(request);
        reply.sendJson(200, request.body);
    });
    server->onGet("/api/later", [this](const WebRequest&, WebReply reply) {
        waiting.push_back(std::move(reply));
    });
    server->onGet("/api/events", [this](const WebRequest&, WebReply reply) {
        streams.push_back(reply.openEvents());
    });
}

WebLimits WebUnderTest::wideLimits()
{
    using namespace std::chrono_literals;
    WebLimits limits;
    limits.requestsASecond = 100000;
    limits.requestsAtOnce = 100000;
    limits.firstRequest = 60s;
    limits.laterRequest = 60s;
    limits.stalledWrite = 60s;
    limits.farewell = 60s;
    return limits;
}

bool WebUnderTest::hasRefused(WebRefusal cause) const
{
    return std::find(refusals.begin(), refusals.end(), cause) != refusals.end();
}

QByteArray get(const QByteArray& path, const QByteArray& fields)
{
    return QByteArray("GET ") + path + QByteArray(" HTTP/1.1\r\nHost: 127.0.0.1\r\n") + fields +
           QByteArray("\r\n");
}

QByteArray post(const QByteArray& path, const QByteArray& body, const QByteArray& fields)
{
    return QByteArray("POST ") + path + QByteArray(" HTTP/1.1\r\nHost: 127.0.0.1\r\n") + fields +
           QByteArray("Content-Length: ") + QByteArray::number(body.size()) +
           QByteArray("\r\n\r\n") + body;
}

bool loopRests()
{
    constexpr int manyTurns = 2000;
    for (int turn = 0; turn < manyTurns; ++turn) {
        if (g_main_context_iteration(nullptr, FALSE) == FALSE) {
            return true;
        }
    }
    return false;
}

std::size_t openDescriptors()
{
    return static_cast<std::size_t>(
        QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size());
}

} // namespace wingbell
