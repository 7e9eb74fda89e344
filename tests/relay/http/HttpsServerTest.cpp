#include "WebUnderTest.h"
#include "relay/access/CertificateAuthority.h"
#include "relay/net/Port.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>

using namespace wingbell;
using namespace std::chrono_literals;

namespace {

const QHostAddress movedTo(QStringLiteral("192.168.7.5"));
const QHostAddress movedAgainTo(QStringLiteral("192.168.8.5"));

/// A certificate for these addresses and the loopback's that was made `age` ago.
QSslConfiguration certificate(
    const std::vector<QHostAddress>& addresses = {}, std::chrono::system_clock::duration age = 0s)
{
    const auto made = std::chrono::system_clock::now() - age;
    const auto authority = CertificateAuthority::make({}, made).value();
    return tlsConfiguration(authority.issue({addresses, {}}, made).value().pem()).value();
}

} // namespace

class HttpsServerTest : public WebTest
{
    Q_OBJECT

private Q_SLOTS:
    void aPageComesWithWhatKeepsABrowserSafe();
    void aPageThatIsKnownNeedNotComeAgain();
    void aHeadIsAPageWithoutItsBody();
    void aLargePageComesWhole();
    void anUnknownPathIsNotFound_data();
    void anUnknownPathIsNotFound();
    void anotherMethodIsRefused_data();
    void anotherMethodIsRefused();
    void aPostReachesItsHandlerAsItWasSent();
    void aChunkedPostReachesItsHandlerWhole();
    void aClientThatExpectsContinueIsToldToGoOn();
    void aResponseMayComeLater();
    void aResponseThatIsDroppedIsAFailure();
    void onlyTheFirstResponseIsSent();
    void requestsSentAheadAreAnsweredInTheirOrder();
    void theConnectionIsClosedWhenAskedFor();
    void anOldVersionIsServedAndClosed();
    void aForeignPageIsTurnedAway_data();
    void aForeignPageIsTurnedAway();
    void aForeignNameIsTurnedAway_data();
    void aForeignNameIsTurnedAway();
    void plainHttpGetsTheExplainingPageAndNothingElse_data();
    void plainHttpGetsTheExplainingPageAndNothingElse();
    void aDownloadIsServedOverPlainHttpToo();
    void plainHttpReachesNoHandler();
    void oscOverTcpIsNamed();
    void onlyHttp11IsAgreedOnInside();
    void anOldTlsIsRefused();
    void aBrowserThatRefusesTheCertificateIsNotRejected();
    void anAddressKeepsACertificateThatIsGoodForIt();
    void aCertificateThatExpiresIsReplacedEverywhere();

    void eventsComeAsTheyAreSent();
    void aClosedStreamEndsAndTheConnectionGoesOn();
    void aDroppedStreamEnds();
    void eventsForAnOldVersionEndWithTheConnection();
    void aStreamWhoseBrowserHasGoneIsNotOpen();
    void aRequestIsServedEvenIfItsBrowserLeavesAtOnce();
    void aStreamWithoutABrowserIsNotOpen();

    void shutDownFlushesAndCloses();
    void shutDownLetsAResponseOut();
    void shutDownWaitsNoLongerThanItsTimeout();
    void shutDownWithoutConnectionsIsDoneAtOnce();
    void whatOutlivesTheServerIsHarmless();
};

void HttpsServerTest::aPageComesWithWhatKeepsABrowserSafe()
{
    WebUnderTest web;
    Browser browser = asking(web, get("/?a=b"));
    QTRY_VERIFY(got(browser, 200));
    const QByteArray& response = browser.received();
    QVERIFY(response.endsWith("\r\n\r\n<p>The desk</p>"));
    QVERIFY(response.contains("\r\nContent-Type: text/html; charset=utf-8\r\n"));
    QVERIFY(response.contains("\r\nContent-Length: 15\r\n"));
    QVERIFY(
        response.contains("\r\nContent-Security-Policy: default-src 'none'; script-src 'self';"));
    QVERIFY(response.contains("\r\nX-Content-Type-Options: nosniff\r\n"));
    QVERIFY(response.contains("\r\nReferrer-Policy: no-referrer\r\n"));
    QVERIFY(response.contains("\r\nCross-Origin-Resource-Policy: same-origin\r\n"));
    QVERIFY(response.contains("\r\nCache-Control: no-cache\r\n"));
    QVERIFY(!response.contains("Server:"));
    QVERIFY(!browser.hasEnded());
    QCOMPARE(web.connections(), std::size_t(1));
}

void HttpsServerTest::aPageThatIsKnownNeedNotComeAgain()
{
    WebUnderTest web;
    Browser first = asking(web, get("/"));
    QTRY_VERIFY(got(first, 200));
    const qsizetype tag = first.received().indexOf("ETag: ") + 6;
    const qsizetype end = first.received().indexOf("\r\n", tag);
    Browser second = asking(
        web, get("/", QByteArray("If-None-Match: W/\"x\", ") +
                          first.received().sliced(tag, end - tag) + QByteArray("\r\n")));
    QTRY_VERIFY(got(second, 304));
    QVERIFY(second.received().endsWith("\r\n\r\n"));
    Browser third = asking(web, get("/", "If-None-Match: \"another\"\r\n"));
    QTRY_VERIFY(got(third, 200));
}

void HttpsServerTest::aHeadIsAPageWithoutItsBody()
{
    WebUnderTest web;
    Browser browser = asking(web, QByteArray(get("/")).replace("GET", "HEAD") + get("/nowhere"));
    QTRY_VERIFY(browser.received().contains("not-found"));
    QVERIFY(browser.received().contains("\r\nContent-Length: 15\r\n"));
    QVERIFY(!browser.received().contains("<p>"));
}

void HttpsServerTest::aLargePageComesWhole()
{
    QByteArray page;
    for (int line = 0; page.size() < 3000000; ++line) {
        page.append(QByteArray::number(line)).append('\n');
    }
    WebUnderTest web;
    web.server->router().addPage("/large", "text/plain", page);
    Browser browser = asking(web, get("/large") + get("/"));
    QTRY_VERIFY(browser.received().endsWith("<p>The desk</p>"));
    QVERIFY(browser.received().contains(QByteArray("\r\n\r\n").append(page).append("HTTP/1.1 ")));
}

void HttpsServerTest::anUnknownPathIsNotFound_data()
{
    QTest::addColumn<QByteArray>("path");
    for (const char* path :
         {"/nowhere", "//", "/.", "/..", "/../../etc/passwd", "/%2e%2e/", "/%2f", "/api/echo/",
          "/API/ECHO", "/api%2fecho", "/%00", "/%zz", "/\\", "/api/echo;a=b", "/api/echo%3f"}) {
        QTest::newRow(path) << QByteArray(path);
    }
}

void HttpsServerTest::anUnknownPathIsNotFound()
{
    QFETCH(QByteArray, path);
    WebUnderTest web;
    Browser browser = asking(web, get(path));
    QTRY_VERIFY(got(browser, 404));
    QVERIFY(browser.received().endsWith("{\"error\":\"not-found\"}"));
    QVERIFY(browser.received().contains("\r\nCache-Control: no-store\r\n"));
}

void HttpsServerTest::anotherMethodIsRefused_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("allowed");
    const auto with = [](const char* method, const QByteArray& path) {
        return QByteArray(get(path)).replace("GET", method);
    };
    QTest::newRow("post of a page") << post("/", "") << QByteArray("GET, HEAD");
    QTest::newRow("get of a post") << get("/api/echo") << QByteArray("POST");
    QTest::newRow("post of a get") << post("/api/later", "") << QByteArray("GET");
    QTest::newRow("head of a get") << with("HEAD", "/api/later") << QByteArray("GET");
    QTest::newRow("trace") << with("TRACE", "/") << QByteArray("GET, HEAD, POST");
    QTest::newRow("options") << with("OPTIONS", "/api/echo") << QByteArray("GET, HEAD, POST");
    QTest::newRow("connect") << with("CONNECT", "desk:443") << QByteArray("GET, HEAD, POST");
}

void HttpsServerTest::anotherMethodIsRefused()
{
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, allowed);
    WebUnderTest web;
    Browser browser = asking(web, request);
    QTRY_VERIFY(got(browser, 405));
    QVERIFY(browser.received().contains(QByteArray("\r\nAllow: ").append(allowed).append("\r\n")));
    QVERIFY(web.requests.empty());
    QVERIFY(web.waiting.empty());
}

void HttpsServerTest::aPostReachesItsHandlerAsItWasSent()
{
    WebUnderTest web;
    Browser browser = asking(
        web, post("/api/echo?session=1%32", "{\"a\":1}", "Content-Type: application/json\r\n"));
    QTRY_VERIFY(got(browser, 200));
    QVERIFY(browser.received().endsWith("{\"a\":1}"));
    QVERIFY(browser.received().contains("\r\nContent-Type: application/json\r\n"));
    QVERIFY(browser.received().contains("\r\nCache-Control: no-store\r\n"));
    const HttpRequest& request = web.requests.at(0);
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.path, QByteArray("/api/echo"));
    QCOMPARE(request.queryItem("session").value(), QByteArray("12"));
    QCOMPARE(request.body, QByteArray("{\"a\":1}"));
    QCOMPARE(request.peer, QHostAddress(QHostAddress::LocalHost));
}

void HttpsServerTest::aChunkedPostReachesItsHandlerWhole()
{
    WebUnderTest web;
    Browser browser = asking(
        web, "POST /api/echo HTTP/1.1\r\nHost: 127.0.0.1\r\nTransfer-Encoding: chunked\r\n\r\n"
             "5\r\nto be\r\n8\r\n, or not\r\n0\r\n\r\n");
    QTRY_VERIFY(got(browser, 200));
    QVERIFY(browser.received().endsWith("\r\n\r\nto be, or not"));
}

void HttpsServerTest::aClientThatExpectsContinueIsToldToGoOn()
{
    WebUnderTest web;
    Browser browser = asking(
        web, "POST /api/echo HTTP/1.1\r\nHost: 127.0.0.1\r\nExpect: 100-continue\r\n"
             "Content-Length: 5\r\n\r\n");
    QTRY_COMPARE(browser.received(), QByteArray("HTTP/1.1 100 Continue\r\n\r\n"));
    browser.send("to be");
    QTRY_VERIFY(browser.received().endsWith("\r\n\r\nto be"));
}

void HttpsServerTest::aResponseMayComeLater()
{
    WebUnderTest web;
    Browser early = asking(web, get("/api/later"));
    Browser late = asking(web, get("/api/later"));
    QTRY_VERIFY(early.hasSent() && late.hasSent() && web.waiting.size() == 2);
    QVERIFY(early.received().isEmpty());
    web.waiting.at(1).send({503, {{"X-A", "b"}}, "{\"error\":\"full\"}"});
    web.waiting.at(0).sendNothing();
    QTRY_VERIFY(got(early, 204) || got(early, 503));
    QTRY_VERIFY(got(late, 204) || got(late, 503));
    QByteArray both = early.received() + late.received();
    QVERIFY(both.contains("HTTP/1.1 204 No Content\r\n"));
    QVERIFY(both.contains("\r\nX-A: b\r\n"));
    QVERIFY(both.contains("\r\n\r\n{\"error\":\"full\"}"));
}

void HttpsServerTest::aResponseThatIsDroppedIsAFailure()
{
    WebUnderTest web;
    Browser browser = asking(web, get("/api/later"));
    QTRY_VERIFY(browser.hasSent() && !web.waiting.empty());
    web.waiting.clear();
    QTRY_VERIFY(got(browser, 500));
    QVERIFY(browser.received().endsWith("{\"error\":\"failed\"}"));
}

void HttpsServerTest::onlyTheFirstResponseIsSent()
{
    WebUnderTest web;
    Browser browser = asking(web, get("/api/later"));
    QTRY_VERIFY(browser.hasSent() && !web.waiting.empty());
    web.waiting.front().sendJson(200, "1");
    web.waiting.front().sendJson(200, "2");
    QVERIFY(!web.waiting.front().openEvents().isOpen());
    browser.send(get("/nowhere"));
    QTRY_COMPARE(browser.received().count("HTTP/1.1 "), 2);
    QVERIFY(browser.received().contains("\r\n\r\n1HTTP/1.1 404"));
}

void HttpsServerTest::requestsSentAheadAreAnsweredInTheirOrder()
{
    WebUnderTest web;
    Browser browser = asking(
        web, post("/api/echo", "one") + get("/api/later") + post("/api/echo", "three") + get("/"));
    QTRY_VERIFY(browser.received().endsWith("one") && !web.waiting.empty());
    QCOMPARE(web.requests.size(), std::size_t(1));
    web.waiting.front().sendJson(200, "two");
    QTRY_VERIFY(browser.received().endsWith("<p>The desk</p>"));
    const QByteArray& all = browser.received();
    QVERIFY(all.indexOf("one") < all.indexOf("two"));
    QVERIFY(all.indexOf("two") < all.indexOf("three"));
    QCOMPARE(web.connections(), std::size_t(1));
}

void HttpsServerTest::theConnectionIsClosedWhenAskedFor()
{
    WebUnderTest web;
    Browser browser = asking(web, get("/", "Connection: close\r\n") + get("/"));
    QTRY_VERIFY(browser.hasEnded());
    QVERIFY(got(browser, 200));
    QVERIFY(browser.received().contains("\r\nConnection: close\r\n"));
    browser.close();
    QTRY_COMPARE(web.connections(), std::size_t(0));
}

void HttpsServerTest::anOldVersionIsServedAndClosed()
{
    WebUnderTest web;
    Browser browser = asking(web, "GET / HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n");
    QTRY_VERIFY(browser.hasEnded());
    QVERIFY(got(browser, 200));
}

void HttpsServerTest::aForeignPageIsTurnedAway_data()
{
    QTest::addColumn<QByteArray>("origin");
    QTest::addColumn<bool>("foreign");
    QTest::newRow("own") << QByteArray("Origin: https://127.0.0.1\r\n") << false;
    QTest::newRow("unsaid") << QByteArray() << false;
    QTest::newRow("foreign") << QByteArray("Origin: https://evil.example\r\n") << true;
    QTest::newRow("hidden") << QByteArray("Origin: null\r\n") << true;
    QTest::newRow("plain") << QByteArray("Origin: http://127.0.0.1\r\n") << true;
    QTest::newRow("another port") << QByteArray("Origin: https://127.0.0.1:8443\r\n") << true;
}

void HttpsServerTest::aForeignPageIsTurnedAway()
{
    QFETCH(QByteArray, origin);
    QFETCH(bool, foreign);
    WebUnderTest web;
    Browser browser = asking(web, post("/api/echo", "{}", origin));
    QTRY_VERIFY(got(browser, foreign ? 403 : 200));
    QCOMPARE(web.requests.empty(), foreign);
    QCOMPARE(web.hasRejected(HttpError::ForeignOrigin), foreign);
}

void HttpsServerTest::aForeignNameIsTurnedAway_data()
{
    QTest::addColumn<QByteArray>("host");
    QTest::addColumn<bool>("foreign");
    QTest::newRow("address") << QByteArray("127.0.0.1:47000") << false;
    QTest::newRow("local") << QByteArray("localhost") << false;
    QTest::newRow("name") << QByteArray("desk.LOCAL:47000") << false;
    QTest::newRow("foreign") << QByteArray("evil.example:47000") << true;
}

void HttpsServerTest::aForeignNameIsTurnedAway()
{
    QFETCH(QByteArray, host);
    QFETCH(bool, foreign);
    WebUnderTest web;
    web.server->router().setHostNames({"Desk.local"});
    Browser browser = asking(web, post("/api/echo", "{}").replace("127.0.0.1", host));
    QTRY_VERIFY(got(browser, foreign ? 421 : 200));
    QCOMPARE(web.requests.empty(), foreign);
    QCOMPARE(web.hasRejected(HttpError::UnknownHost), foreign);
}

void HttpsServerTest::plainHttpGetsTheExplainingPageAndNothingElse_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::newRow("page") << get("/");
    QTest::newRow("unknown path") << get("/nowhere");
    QTest::newRow("API") << get("/api/later");
    QTest::newRow("foreign name") << QByteArray("GET / HTTP/1.1\r\nHost: evil.example\r\n\r\n");
    QTest::newRow("by hand") << QByteArray("GET /\r\n\r\n");
    QTest::newRow("with a body")
        << get("/", "Content-Length: 200000\r\n").append(QByteArray(200000, 'x'));
    QTest::newRow("endless") << QByteArray("GET /").append(QByteArray(100000, 'x'));
}

void HttpsServerTest::plainHttpGetsTheExplainingPageAndNothingElse()
{
    QFETCH(QByteArray, request);
    WebUnderTest web;
    Browser browser(web.port);
    browser.send(request);
    QTRY_VERIFY(browser.hasEnded());
    QVERIFY(got(browser, 200));
    QVERIFY(browser.received().endsWith("\r\n\r\n<p>Crew only over https</p>"));
    QVERIFY(browser.received().contains("\r\nContent-Type: text/html; charset=utf-8\r\n"));
    QVERIFY(browser.received().contains("\r\nCache-Control: no-store\r\n"));
    QVERIFY(web.waiting.empty());
    browser.close();
    QTRY_COMPARE(web.connections(), std::size_t(0));
}

void HttpsServerTest::aDownloadIsServedOverPlainHttpToo()
{
    WebUnderTest web;
    Browser plain(web.port);
    plain.send(get("/authority.crt"));
    QTRY_VERIFY(plain.hasEnded());
    Browser secure = asking(web, get("/authority.crt"));
    QTRY_VERIFY(got(secure, 200));
    for (Browser* const browser : {&plain, &secure}) {
        QVERIFY(got(*browser, 200));
        QVERIFY(browser->received().endsWith("\r\n\r\nof the desk"));
        QVERIFY(browser->received().contains("\r\nContent-Type: application/x-x509-ca-cert\r\n"));
    }
}

void HttpsServerTest::plainHttpReachesNoHandler()
{
    WebUnderTest web;
    Browser browser(web.port);
    browser.send(post("/api/echo", "{}"));
    QTRY_VERIFY(browser.hasEnded());
    QVERIFY(got(browser, 400));
    QVERIFY(web.requests.empty());
    QVERIFY(web.hasRejected(HttpError::NotTls));
}

void HttpsServerTest::oscOverTcpIsNamed()
{
    WebUnderTest web;
    Browser browser(web.port);
    browser.send(QByteArray("\0\0\0\x10/wingbell/say\0\0\0", 20));
    QTRY_VERIFY(browser.hasEnded());
    QVERIFY(web.hasRejected(HttpError::OscOverTcp));
    QVERIFY(!web.hasRejected(HttpError::NotTls));
}

void HttpsServerTest::onlyHttp11IsAgreedOnInside()
{
    WebUnderTest web;
    Browser browser(web.port);
    browser.secure();
    QTRY_VERIFY(browser.isSecure());
    QCOMPARE(browser.protocol(), QByteArray("http/1.1"));
}

void HttpsServerTest::anOldTlsIsRefused()
{
    WebUnderTest web;
    Browser browser(web.port);
    browser.secure(TLS1_1_VERSION);
    QTRY_VERIFY(browser.hasEnded());
    QVERIFY(!browser.isSecure());
    Browser newer(web.port);
    newer.secure(TLS1_2_VERSION);
    newer.send(get("/"));
    QTRY_VERIFY(got(newer, 200));
}

void HttpsServerTest::aBrowserThatRefusesTheCertificateIsNotRejected()
{
    WebUnderTest web;
    Browser browser(web.port);
    browser.secure();
    browser.verifyServer();
    QTRY_VERIFY(browser.hasEnded());
    QVERIFY(!browser.isSecure());
    browser.close();
    QTRY_COMPARE(web.connections(), std::size_t(0));
    QVERIFY(web.rejections.empty());
}

void HttpsServerTest::anAddressKeepsACertificateThatIsGoodForIt()
{
    const auto first = certificate();
    const auto second = certificate({movedTo});
    const auto third = certificate({movedTo, movedAgainTo});
    HttpsServer server(openPort(PortType::Tcp, 0).value().descriptor, first);
    server.renewTls(second, {QHostAddress::LocalHost, movedTo});
    server.renewTls(third, {QHostAddress::LocalHost, movedAgainTo, movedTo});
    const auto shown = [&server](const QHostAddress& address) {
        return server.certificateAt(address);
    };
    QCOMPARE(shown(QHostAddress(QHostAddress::LocalHost)), first.localCertificate());
    QCOMPARE(shown(movedTo), second.localCertificate());
    QCOMPARE(shown(movedAgainTo), third.localCertificate());
    QCOMPARE(shown(QHostAddress(QStringLiteral("10.0.0.1"))), first.localCertificate());
}

void HttpsServerTest::aCertificateThatExpiresIsReplacedEverywhere()
{
    const auto expiring = certificate({movedTo}, Certificate::validity - 36h);
    const auto next = certificate({movedTo});
    HttpsServer server(openPort(PortType::Tcp, 0).value().descriptor, expiring);
    server.renewTls(next, {movedTo});
    QCOMPARE(server.certificateAt(movedTo), next.localCertificate());
    QCOMPARE(
        server.certificateAt(QHostAddress(QStringLiteral("10.0.0.1"))), next.localCertificate());
}

void HttpsServerTest::eventsComeAsTheyAreSent()
{
    WebUnderTest web;
    Browser browser = asking(web, get("/api/events"));
    QTRY_VERIFY(got(browser, 200));
    QVERIFY(browser.received().contains("\r\nContent-Type: text/event-stream\r\n"));
    QVERIFY(browser.received().contains("\r\nTransfer-Encoding: chunked\r\n"));
    QVERIFY(browser.received().contains("\r\nCache-Control: no-store\r\n"));
    EventStream& stream = web.streams.front();
    QVERIFY(stream.isOpen());
    stream.send("beat", "{}");
    QTRY_VERIFY(browser.received().endsWith("16\r\nevent: beat\ndata: {}\n\n\r\n"));
    stream.send("desk", "old");
    stream.send("beat", "{}");
    stream.send("desk", "new");
    QTRY_VERIFY(
        browser.received().endsWith("event: desk\ndata: new\n\nevent: beat\ndata: {}\n\n\r\n"));
    QVERIFY(!browser.received().contains("old"));
}

void HttpsServerTest::aClosedStreamEndsAndTheConnectionGoesOn()
{
    WebUnderTest web;
    Browser browser = asking(web, get("/api/events"));
    QTRY_VERIFY(got(browser, 200));
    web.streams.front().send("goodbye", "off-air");
    web.streams.front().close();
    QVERIFY(!web.streams.front().isOpen());
    web.streams.front().send("goodbye", "too late");
    QTRY_VERIFY(browser.received().endsWith("data: off-air\n\n\r\n0\r\n\r\n"));
    browser.send(get("/"));
    QTRY_VERIFY(browser.received().endsWith("<p>The desk</p>"));
}

void HttpsServerTest::aDroppedStreamEnds()
{
    WebUnderTest web;
    Browser browser = asking(web, get("/api/events"));
    QTRY_VERIFY(got(browser, 200));
    web.streams.clear();
    QTRY_VERIFY(browser.received().endsWith("\r\n0\r\n\r\n"));
}

void HttpsServerTest::eventsForAnOldVersionEndWithTheConnection()
{
    WebUnderTest web;
    Browser browser = asking(web, "GET /api/events HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n");
    QTRY_VERIFY(got(browser, 200));
    web.streams.front().send("beat", "{}");
    web.streams.front().close();
    QTRY_VERIFY(browser.hasEnded());
    QVERIFY(browser.received().endsWith("\r\n\r\nevent: beat\ndata: {}\n\n"));
    QVERIFY(!browser.received().contains("chunked"));
}

void HttpsServerTest::aStreamWhoseBrowserHasGoneIsNotOpen()
{
    WebUnderTest web;
    Browser browser = asking(web, get("/api/events"));
    QTRY_VERIFY(got(browser, 200));
    browser.close();
    QTRY_VERIFY(!web.streams.front().isOpen());
    web.streams.front().send("beat", "{}");
    QCOMPARE(web.connections(), std::size_t(0));
}

void HttpsServerTest::aRequestIsServedEvenIfItsBrowserLeavesAtOnce()
{
    WebUnderTest web;
    Browser browser = asking(web, {});
    QTRY_VERIFY(browser.isSecure());
    browser.send(post("/api/echo", QByteArray(60000, 'x')));
    browser.endSending();
    QTRY_VERIFY(browser.hasSent());
    QTRY_COMPARE(web.requests.size(), std::size_t(1));
    QTRY_COMPARE(web.connections(), std::size_t(0));
}

void HttpsServerTest::aStreamWithoutABrowserIsNotOpen()
{
    WebUnderTest web;
    Browser browser = asking(web, get("/api/later"));
    QTRY_VERIFY(browser.hasSent() && !web.waiting.empty());
    browser.reset();
    QTRY_COMPARE(web.connections(), std::size_t(0));
    QVERIFY(loopRests()); // the system knows before the server does
    EventStream stream = web.waiting.front().openEvents();
    QVERIFY(!stream.isOpen());
    stream.send("beat", "{}");
}

void HttpsServerTest::shutDownFlushesAndCloses()
{
    WebUnderTest web;
    Browser idle = asking(web, get("/"));
    Browser listening = asking(web, get("/api/events"));
    Browser halfway(web.port);
    halfway.send("GET /");
    QTRY_VERIFY(got(idle, 200) && got(listening, 200) && halfway.hasSent());
    QTRY_COMPARE(web.connections(), std::size_t(3));
    web.streams.front().send("goodbye", "off-air");
    bool isDone = false;
    web.server->shutDown(60s, [&] {
        isDone = true;
        web.server.reset();
    });
    QTRY_VERIFY(listening.hasEnded() && idle.hasEnded() && halfway.hasEnded());
    QVERIFY(listening.received().endsWith("data: off-air\n\n\r\n0\r\n\r\n"));
    Browser late(web.port);
    QTRY_VERIFY(late.hasEnded());
    idle.close();
    listening.close();
    QTRY_VERIFY(isDone);
}

void HttpsServerTest::shutDownLetsAResponseOut()
{
    WebUnderTest web;
    Browser browser = asking(web, get("/api/later"));
    QTRY_VERIFY(browser.hasSent() && !web.waiting.empty());
    bool isDone = false;
    web.server->shutDown(60s, [&isDone] { isDone = true; });
    web.waiting.front().sendJson(200, "{}");
    QTRY_VERIFY(browser.hasEnded());
    QVERIFY(got(browser, 200));
    browser.close();
    QTRY_VERIFY(isDone);
}

void HttpsServerTest::shutDownWaitsNoLongerThanItsTimeout()
{
    WebUnderTest web;
    Browser browser = asking(web, get("/api/later"));
    QTRY_VERIFY(browser.hasSent() && !web.waiting.empty());
    bool isDone = false;
    web.server->shutDown(10ms, [&isDone] { isDone = true; });
    QTRY_VERIFY(isDone);
    QCOMPARE(web.connections(), std::size_t(0));
    QTRY_VERIFY(browser.hasEnded());
}

void HttpsServerTest::shutDownWithoutConnectionsIsDoneAtOnce()
{
    WebUnderTest web;
    bool isDone = false;
    web.server->shutDown(60s, [&isDone] { isDone = true; });
    QVERIFY(!isDone);
    QTRY_VERIFY(isDone);
}

void HttpsServerTest::whatOutlivesTheServerIsHarmless()
{
    WebUnderTest web;
    Browser waiting = asking(web, get("/api/later"));
    Browser listening = asking(web, get("/api/events"));
    QTRY_VERIFY(waiting.hasSent() && !web.waiting.empty() && got(listening, 200));
    web.server.reset();
    web.streams.front().send("beat", "{}");
    web.streams.front().close();
    web.waiting.front().sendJson(200, "{}");
    QTRY_VERIFY(waiting.hasEnded() && listening.hasEnded());
    QVERIFY(waiting.received().isEmpty());
}

WINGBELL_GUILESS_TEST(HttpsServerTest)
#include "HttpsServerTest.moc"
