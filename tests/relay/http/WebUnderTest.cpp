#include "WebUnderTest.h"

#include "relay/access/CertificateAuthority.h"
#include "relay/net/Port.h"

#include <QAbstractEventDispatcher>
#include <QDir>
#include <QTest>

#include <algorithm>
#include <netinet/in.h>

namespace wingbell {

namespace {

/// 0 if `descriptor` is not a socket.
quint16 localPort(int descriptor)
{
    // The port lies at the same place in both families' addresses.
    sockaddr_in6 address = {};
    socklen_t size = sizeof address;
    const bool isSocket =
        ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    const bool hasPort = address.sin6_family == AF_INET || address.sin6_family == AF_INET6;
    return isSocket && hasPort ? ntohs(address.sin6_port) : 0;
}

std::size_t openDescriptors()
{
    return static_cast<std::size_t>(
        QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size());
}

bool isListening(int descriptor)
{
    int value = 0;
    socklen_t size = sizeof value;
    return ::getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &value, &size) == 0 && value != 0;
}

} // namespace

WebUnderTest::WebUnderTest(const HttpLimits& limits)
{
    static const auto tls = [] {
        const auto now = std::chrono::system_clock::now();
        const auto authority = CertificateAuthority::make({}, now).value();
        return tlsConfiguration(authority.issue({}, now).value().pem());
    }();
    OpenPort opened = openPort(PortType::Tcp, 0).value();
    port = localPort(opened.descriptor.get());
    server = std::make_unique<HttpsServer>(std::move(opened.descriptor), tls.value(), limits);
    server->router().setPlainPage("<p>Crew only over https</p>");
    server->router().addDownload("/authority.crt", "application/x-x509-ca-cert", "of the desk");
    server->router().addPage("/", "text/html; charset=utf-8", "<p>The desk</p>");
    server->onRejected(
        [this](HttpError error, const QHostAddress&) { rejections.push_back(error); });
    server->router().onPost(
        "/api/echo", [this](const HttpRequest& request, PendingResponse response) {
            requests.push_back(request);
            response.sendJson(200, request.body);
        });
    server->router().onGet("/api/later", [this](const HttpRequest&, PendingResponse response) {
        waiting.push_back(std::move(response));
    });
    server->router().onGet("/api/events", [this](const HttpRequest&, PendingResponse response) {
        streams.push_back(response.openEvents());
    });
}

HttpLimits WebUnderTest::wideLimits()
{
    using namespace std::chrono_literals;
    HttpLimits limits;
    limits.requestsPerSecond = 100000;
    limits.requestBurst = 100000;
    limits.firstRequestTimeout = 60s;
    limits.requestTimeout = 60s;
    limits.stalledTimeout = 60s;
    limits.closeTimeout = 60s;
    return limits;
}

std::size_t WebUnderTest::connections() const
{
    constexpr int maxDescriptors = 4096; // asked without opening one more
    std::size_t count = 0;
    for (int descriptor = 0; descriptor < maxDescriptors; ++descriptor) {
        count += localPort(descriptor) == port && !isListening(descriptor) ? 1 : 0;
    }
    return count;
}

bool WebUnderTest::hasRejected(HttpError error) const
{
    return std::find(rejections.begin(), rejections.end(), error) != rejections.end();
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
        if (!QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents)) {
            return true;
        }
    }
    return false;
}

Browser asking(const WebUnderTest& web, const QByteArray& request, const char* from)
{
    Browser browser(web.port, from);
    browser.secure();
    browser.send(request);
    return browser;
}

bool got(Browser& browser, int status)
{
    const QByteArray& bytes = browser.received();
    return bytes.startsWith(QByteArray("HTTP/1.1 ").append(QByteArray::number(status))) &&
           bytes.contains("\r\n\r\n") && bytes.count("HTTP/1.1 ") == 1;
}

void WebTest::initTestCase()
{
    // What OpenSSL and Qt open once stays open.
    WebUnderTest web;
    Browser browser = asking(web, get("/"));
    QTRY_VERIFY(got(browser, 200));
}

void WebTest::init()
{
    m_descriptorsBefore = openDescriptors();
}

void WebTest::cleanup()
{
    QCOMPARE(openDescriptors(), m_descriptorsBefore);
}

} // namespace wingbell
