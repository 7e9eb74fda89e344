#include "WebUnderTest.h"
#include "tests/TestProgram.h"

#include <QElapsedTimer>
#include <QTest>

#include <algorithm>
#include <deque>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

using namespace wingbell;
using namespace std::chrono_literals;

/// What untrusted clients do to a server.
class HttpsServerBoundsTest : public WebTest
{
    Q_OBJECT

private Q_SLOTS:
    void halfHandshakesKeepNoOtherWaiting();
    void aSilentClientIsCut();
    void aSlowHandshakeIsCut();
    void aSlowFirstRequestIsCut_data();
    void aSlowFirstRequestIsCut();
    void aSlowLaterRequestIsCut();
    void anIdleConnectionIsClosed();
    void aRequestThatWasReadInTimeIsForgotten();
    void aRequestWithALateResponseIsNotCut();
    void aClientThatDoesNotReadAPageIsCut();
    void aClientThatReadsAPageTooSlowlyIsCut();
    void aClientThatDoesNotReadItsEventsIsCut();
    void aClientThatDoesNotReadItsEventsGetsOnlyTheNewest();
    void aClientThatDoesNotReadItsResponsesIsReadNoFurther();
    void aClientThatSendsFarAheadIsReadNoFurther_data();
    void aClientThatSendsFarAheadIsReadNoFurther();

    void aRequestTooLargeIsRefusedBeforeItsEnd_data();
    void aRequestTooLargeIsRefusedBeforeItsEnd();
    void aRejectedClientThatGoesOnIsCut();
    void aRejectedClientThatStaysIsCut();
    void rubbishIsRefused_data();
    void rubbishIsRefused();
    void rubbishAfterTheHandshakeIsCut();
    void aSecondRequestCannotBeSmuggledIn_data();
    void aSecondRequestCannotBeSmuggledIn();

    void aClientThatVanishesLeavesNothing_data();
    void aClientThatVanishesLeavesNothing();

    void aClientThatHasGoneBeforeItIsAcceptedLeavesNothing();

    void theLoopRestsWhateverIsWaitedFor_data();
    void theLoopRestsWhateverIsWaitedFor();

    void ofManyOnlySoManyAreTaken();
    void ofOneAddressOnlySoManyAreTaken();
    void theOldestIdleConnectionGivesWay_data();
    void theOldestIdleConnectionGivesWay();
    void whoTakesMostGivesWay_data();
    void whoTakesMostGivesWay();
    void aBrowserThatLoadsThePageDoesNotGiveWayToOneThatWaits();
    void whatIsRefusedForItsRatePushesOutNoOther();
    void aConnectionThatEndsMakesRoom();
    void tooManyRequestsAreToldToSlowDown();
    void tooManyConnectionsInTooShortATimeAreRefused();
    void withoutDescriptorsTheOthersAreServedOn();
};

namespace {

HttpLimits withShort(std::chrono::milliseconds HttpLimits::*limit)
{
    HttpLimits limits = WebUnderTest::wideLimits();
    limits.*limit = 50ms;
    return limits;
}

/// As many as there are addresses in the loopback's network for them.
QByteArray address(int number)
{
    return QByteArray("127.0.1.").append(QByteArray::number(1 + number));
}

constexpr std::size_t none = 0;

/// True when `browser` cannot send all it has, however long it goes on.
bool isReadNoFurther(Browser& browser)
{
    qsizetype before = -1;
    while (browser.unsent() != before) {
        before = browser.unsent();
        browser.work();
        if (!loopRests()) {
            return false;
        }
    }
    return before > 0;
}

/// While it lives, this program can open nothing.
class NoDescriptors
{
public:
    NoDescriptors()
    {
        // Taken up to a limit: a lower limit than what is open already would stop the main loop.
        constexpr rlim_t limit = 200;
        ::getrlimit(RLIMIT_NOFILE, &m_usual);
        rlimit low = m_usual;
        low.rlim_cur = limit;
        ::setrlimit(RLIMIT_NOFILE, &low);
        do {
            m_taken.emplace_back(::dup(STDERR_FILENO));
        } while (m_taken.back().isOpen());
    }
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &m_usual); }
    Q_DISABLE_COPY_MOVE(NoDescriptors)

private:
    rlimit m_usual = {};
    std::vector<FileDescriptor> m_taken;
};

} // namespace

void HttpsServerBoundsTest::halfHandshakesKeepNoOtherWaiting()
{
    HttpLimits limits = WebUnderTest::wideLimits();
    limits.firstRequestTimeout = 1h;
    WebUnderTest web(limits);
    const QByteArray word = Browser::firstWord();
    std::deque<Browser> silent;
    for (std::size_t count = 0; count < limits.maxConnectionsPerAddress; ++count) {
        silent.emplace_back(web.port).send(word);
    }
    QTRY_COMPARE(
        std::count_if(
            silent.begin(), silent.end(),
            [](Browser& browser) { return browser.received().isEmpty(); }),
        0);
    Browser browser = asking(web, get("/"), "127.0.0.2");
    QTRY_VERIFY(got(browser, 200));
    QCOMPARE(web.connections(), limits.maxConnectionsPerAddress + 1);
}

void HttpsServerBoundsTest::aSilentClientIsCut()
{
    WebUnderTest web(withShort(&HttpLimits::firstRequestTimeout));
    Browser browser(web.port);
    QTRY_VERIFY(browser.hasEnded());
    QCOMPARE(web.connections(), none);
    QVERIFY(web.hasRejected(HttpError::TooSlow));
}

void HttpsServerBoundsTest::aSlowHandshakeIsCut()
{
    WebUnderTest web(withShort(&HttpLimits::firstRequestTimeout));
    Browser browser(web.port);
    const QByteArray word = Browser::firstWord();
    qsizetype sent = 0;
    // A little each time it is looked at, so it is never silent.
    QTRY_VERIFY((browser.send(word.sliced(sent++ % word.size(), 1)), browser.hasEnded()));
    QCOMPARE(web.connections(), none);
    QVERIFY(!web.rejections.empty());
}

void HttpsServerBoundsTest::aSlowFirstRequestIsCut_data()
{
    QTest::addColumn<QByteArray>("beginning");
    QTest::addColumn<QByteArray>("drop");
    QTest::newRow("nothing") << QByteArray() << QByteArray();
    QTest::newRow("head") << QByteArray("GET / HTTP/1.1\r\n") << QByteArray("A: b\r\n");
    QTest::newRow("body")
        << QByteArray("POST /api/echo HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 60000\r\n\r\n")
        << QByteArray("x");
    QTest::newRow("chunks")
        << QByteArray(
               "POST /api/echo HTTP/1.1\r\nHost: 127.0.0.1\r\nTransfer-Encoding: chunked\r\n\r\n")
        << QByteArray("1\r\nx\r\n");
}

void HttpsServerBoundsTest::aSlowFirstRequestIsCut()
{
    QFETCH(QByteArray, beginning);
    QFETCH(QByteArray, drop);
    WebUnderTest web(withShort(&HttpLimits::firstRequestTimeout));
    Browser browser = asking(web, beginning);
    QTRY_VERIFY((browser.send(drop), browser.hasEnded()));
    QCOMPARE(web.connections(), none);
    QCOMPARE(web.rejections, std::vector<HttpError>{HttpError::TooSlow});
    QVERIFY(browser.received().isEmpty());
    QVERIFY(web.requests.empty());
}

void HttpsServerBoundsTest::aSlowLaterRequestIsCut()
{
    WebUnderTest web(withShort(&HttpLimits::requestTimeout));
    Browser browser = asking(web, get("/"));
    QTRY_VERIFY(got(browser, 200));
    browser.send("GET / HTTP/1.1\r\n");
    QTRY_VERIFY((browser.send("A: b\r\n"), browser.hasEnded()));
    QCOMPARE(web.rejections, std::vector<HttpError>{HttpError::TooSlow});
}

void HttpsServerBoundsTest::anIdleConnectionIsClosed()
{
    WebUnderTest web(withShort(&HttpLimits::idleTimeout));
    Browser browser = asking(web, get("/"));
    QTRY_VERIFY(browser.hasEnded());
    QVERIFY(got(browser, 200));
    QCOMPARE(web.connections(), none);
    QVERIFY(web.rejections.empty());
}

void HttpsServerBoundsTest::aRequestThatWasReadInTimeIsForgotten()
{
    HttpLimits limits = WebUnderTest::wideLimits();
    limits.requestTimeout = 2s;
    WebUnderTest web(limits);
    Browser browser = asking(web, get("/"));
    QTRY_VERIFY(got(browser, 200));
    const QByteArray second = post("/api/echo", "second");
    browser.send(second.chopped(1));
    QTRY_VERIFY(browser.hasSent() && loopRests());
    browser.send("d");
    QTRY_VERIFY(browser.received().endsWith("second"));
    Browser later = asking(web, get("/") + QByteArray("GET /"));
    QTRY_VERIFY(later.hasEnded());
    browser.send(post("/api/echo", "third"));
    QTRY_VERIFY(browser.received().endsWith("third"));
}

void HttpsServerBoundsTest::aRequestWithALateResponseIsNotCut()
{
    HttpLimits limits = WebUnderTest::wideLimits();
    limits.firstRequestTimeout = 2s;
    limits.requestTimeout = limits.idleTimeout = limits.stalledTimeout = 50ms;
    WebUnderTest web(limits);
    Browser waiting = asking(web, get("/api/later"));
    Browser listening = asking(web, get("/api/events"));
    QTRY_VERIFY(waiting.hasSent() && !web.waiting.empty() && got(listening, 200));
    // Both are older than these, who are cut.
    Browser idle = asking(web, get("/"));
    Browser silent(web.port);
    QTRY_VERIFY(idle.hasEnded() && silent.hasEnded());
    web.waiting.front().sendJson(200, "{}");
    web.streams.front().send("beat", "{}");
    QTRY_VERIFY(got(waiting, 200));
    QTRY_VERIFY(listening.received().contains("event: beat"));
}

void HttpsServerBoundsTest::aClientThatDoesNotReadAPageIsCut()
{
    WebUnderTest web(withShort(&HttpLimits::stalledTimeout));
    web.server->router().addPage("/large", "text/plain", QByteArray(10000000, 'x'));
    Browser browser = asking(web, {});
    QTRY_VERIFY(browser.isSecure());
    browser.stopReading();
    browser.send(get("/large"));
    QTRY_VERIFY(browser.hasSent() && web.connections() == 0);
    QCOMPARE(web.rejections, std::vector<HttpError>{HttpError::TooSlow});
}

void HttpsServerBoundsTest::aClientThatReadsAPageTooSlowlyIsCut()
{
    WebUnderTest web(withShort(&HttpLimits::responseTimeout));
    const QByteArray large(10000000, 'x');
    web.server->router().addPage("/large", "text/plain", large);
    Browser browser = asking(web, {});
    QTRY_VERIFY(browser.isSecure());
    browser.stopReading();
    browser.send(get("/large"));
    // A little each time it is looked at, so it never stops.
    QTRY_VERIFY(
        (browser.readAgain(), browser.work(), browser.stopReading(),
         browser.hasSent() && web.connections() == 0));
    QVERIFY(browser.received().size() < large.size());
    QCOMPARE(web.rejections, std::vector<HttpError>{HttpError::TooSlow});
}

void HttpsServerBoundsTest::aClientThatDoesNotReadItsEventsIsCut()
{
    WebUnderTest web(withShort(&HttpLimits::stalledTimeout));
    Browser browser = asking(web, get("/api/events"));
    QTRY_VERIFY(got(browser, 200));
    browser.stopReading();
    const QByteArray state(10000, 'x');
    QTRY_VERIFY((web.streams.front().send("desk", state), !web.streams.front().isOpen()));
    QCOMPARE(web.connections(), none);
}

void HttpsServerBoundsTest::aClientThatDoesNotReadItsEventsGetsOnlyTheNewest()
{
    WebUnderTest web(WebUnderTest::wideLimits());
    Browser browser = asking(web, get("/api/events"));
    QTRY_VERIFY(got(browser, 200));
    browser.stopReading();
    const QByteArray filling(1000, 'x');
    constexpr int states = 20000; // far more than the system keeps
    for (int number = 0; number < states; ++number) {
        web.streams.front().send("desk", QByteArray::number(number) + filling);
        QCoreApplication::processEvents();
    }
    web.streams.front().send("beat", "last");
    browser.readAgain();
    QTRY_VERIFY(browser.received().contains("data: last"));
    const QByteArray& all = browser.received();
    QVERIFY(
        all.contains(QByteArray("data: ").append(QByteArray::number(states - 1)).append(filling)));
    QVERIFY(all.size() < 1000000);
}

void HttpsServerBoundsTest::aClientThatDoesNotReadItsResponsesIsReadNoFurther()
{
    WebUnderTest web(WebUnderTest::wideLimits());
    web.server->router().addPage("/large", "text/plain", QByteArray(1000000, 'x'));
    Browser browser = asking(web, {});
    QTRY_VERIFY(browser.isSecure());
    browser.stopReading();
    browser.send(get("/large").repeated(500000));
    QVERIFY(isReadNoFurther(browser));
    Browser other = asking(web, get("/"));
    QTRY_VERIFY(got(other, 200));
    browser.reset();
    QTRY_COMPARE(web.connections(), std::size_t(1));
}

void HttpsServerBoundsTest::aClientThatSendsFarAheadIsReadNoFurther_data()
{
    QTest::addColumn<QByteArray>("first");
    QTest::newRow("answer") << get("/api/later");
    QTest::newRow("events") << get("/api/events");
}

void HttpsServerBoundsTest::aClientThatSendsFarAheadIsReadNoFurther()
{
    QFETCH(QByteArray, first);
    WebUnderTest web(WebUnderTest::wideLimits());
    Browser browser = asking(web, first);
    QTRY_VERIFY(browser.hasSent() && web.waiting.size() + web.streams.size() == 1);
    browser.send(get("/").repeated(500000));
    QVERIFY(isReadNoFurther(browser));
    browser.reset();
    QTRY_COMPARE(web.connections(), none);
}

void HttpsServerBoundsTest::aRequestTooLargeIsRefusedBeforeItsEnd_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<int>("status");
    const QByteArray start = "POST /api/echo HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    const QByteArray chunk = QByteArray("1000\r\n") + QByteArray(4096, 'x') + QByteArray("\r\n");
    QTest::newRow("length told") << (start + QByteArray("Content-Length: 65537\r\n\r\n")) << 413;
    QTest::newRow("length told and sent")
        << (start + QByteArray("Content-Length: 100000\r\n\r\n") + QByteArray(100000, 'x')) << 413;
    QTest::newRow("gigabytes") << (start + QByteArray("Content-Length: 9999999999\r\n\r\n")) << 413;
    QTest::newRow("chunks") << (start + QByteArray("Transfer-Encoding: chunked\r\n\r\n") +
                                chunk.repeated(17))
                            << 413;
    QTest::newRow("request line") << QByteArray("GET /").append(QByteArray(20000, 'x')) << 431;
    QTest::newRow("one field") << (start + QByteArray("Cookie: ") + QByteArray(20000, 'x')) << 431;
    QTest::newRow("fields") << (start + QByteArray("A: b\r\n").repeated(3000)) << 431;
}

void HttpsServerBoundsTest::aRequestTooLargeIsRefusedBeforeItsEnd()
{
    QFETCH(QByteArray, request);
    QFETCH(int, status);
    WebUnderTest web(WebUnderTest::wideLimits());
    Browser browser = asking(web, request);
    QTRY_VERIFY(browser.hasEnded());
    QVERIFY(got(browser, status));
    QVERIFY(browser.received().endsWith("\r\n\r\n{\"error\":\"too-large\"}"));
    QCOMPARE(browser.received().count("HTTP/1.1 "), 1);
    QCOMPARE(web.rejections, std::vector<HttpError>{HttpError::TooLarge});
    QVERIFY(web.requests.empty());
}

void HttpsServerBoundsTest::aRejectedClientThatGoesOnIsCut()
{
    WebUnderTest web(WebUnderTest::wideLimits());
    Browser browser = asking(web, "GET / HTTP/1.1\r\n");
    browser.send(QByteArray("A: b\r\n").repeated(200000));
    QTRY_VERIFY(browser.hasEnded());
    QVERIFY(web.hasRejected(HttpError::TooLarge));
    QTRY_COMPARE((browser.work(), web.connections()), none);
}

void HttpsServerBoundsTest::aRejectedClientThatStaysIsCut()
{
    WebUnderTest web(withShort(&HttpLimits::closeTimeout));
    Browser browser = asking(web, "rubbish\r\n\r\n");
    QTRY_VERIFY(got(browser, 400));
    QTRY_COMPARE(web.connections(), none);
    QCOMPARE(web.rejections, std::vector<HttpError>{HttpError::Malformed});
}

void HttpsServerBoundsTest::rubbishIsRefused_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("nulls") << QByteArray(1000, '\0');
    QTest::newRow("another protocol") << QByteArray("SSH-2.0-OpenSSH_9.2\r\n");
    QTest::newRow("much") << QByteArray(100000, '\xff');
    QTest::newRow("like TLS") << QByteArray("\x16\x03\x01\x02").append(QByteArray(1000, 'x'));
    QTest::newRow("another record") << QByteArray("\x16rubbish that is no record at all");
    QTest::newRow("largest record")
        << QByteArray("\x16\x03\x01\xff\xff").append(QByteArray(65535, '\x01'));
    QTest::newRow("alert first") << QByteArray("\x15\x03\x01\x00\x02\x02\x28", 7);
}

void HttpsServerBoundsTest::rubbishIsRefused()
{
    QFETCH(QByteArray, bytes);
    WebUnderTest web(WebUnderTest::wideLimits());
    Browser browser(web.port);
    browser.send(bytes);
    QTRY_VERIFY(browser.hasEnded());
    QCOMPARE(web.rejections, std::vector<HttpError>{HttpError::NotTls});
    browser.close();
    QTRY_COMPARE(web.connections(), none);
}

void HttpsServerBoundsTest::rubbishAfterTheHandshakeIsCut()
{
    WebUnderTest web(WebUnderTest::wideLimits());
    Browser browser = asking(web, get("/api/events"));
    QTRY_VERIFY(got(browser, 200));
    browser.sendRaw(QByteArray(500, 'x'));
    QTRY_VERIFY(!web.streams.front().isOpen());
    QCOMPARE(web.connections(), none);
}

void HttpsServerBoundsTest::aSecondRequestCannotBeSmuggledIn_data()
{
    QTest::addColumn<QByteArray>("request");
    const QByteArray start = "POST /api/echo HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    const QByteArray hidden = get("/");
    QTest::newRow("length and chunks")
        << (start + QByteArray("Content-Length: 4\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n") +
            hidden);
    QTest::newRow("chunks in disguise")
        << (start +
            QByteArray("Content-Length: 4\r\nTransfer-Encoding : chunked\r\n\r\n0\r\n\r\n") +
            hidden);
    QTest::newRow("two codings")
        << (start +
            QByteArray(
                "Transfer-Encoding: identity\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n") +
            hidden);
    QTest::newRow("two lengths")
        << (start + QByteArray("Content-Length: 0\r\nContent-Length: 50\r\n\r\n") + hidden);
    QTest::newRow("line feeds") << (start + QByteArray("A: b\nContent-Length: 0\r\n\r\n") + hidden);
    QTest::newRow("going on")
        << (start + QByteArray("A: b\r\n Content-Length: 0\r\n\r\n") + hidden);
    QTest::newRow("null") << (start + QByteArray("A: b\0c\r\n\r\n", 10) + hidden);
    QTest::newRow("chunk's extension")
        << (start + QByteArray("Transfer-Encoding: chunked\r\n\r\n2;\nxx\r\n0\r\n\r\n") + hidden);
    QTest::newRow("trailer")
        << (start + QByteArray("Transfer-Encoding: chunked\r\n\r\n0\r\nHost: x\r\n\r\n") + hidden);
    QTest::newRow("two hosts") << (start + QByteArray("Host: evil.example\r\n\r\n") + hidden);
    QTest::newRow("absolute")
        << QByteArray("GET https://evil.example/ HTTP/1.1\r\nHost: desk\r\n\r\n").append(hidden);
}

void HttpsServerBoundsTest::aSecondRequestCannotBeSmuggledIn()
{
    QFETCH(QByteArray, request);
    WebUnderTest web(WebUnderTest::wideLimits());
    Browser browser = asking(web, request);
    QTRY_VERIFY(browser.hasEnded());
    QVERIFY(got(browser, 400) || got(browser, 501));
    QCOMPARE(browser.received().count("HTTP/1.1 "), 1);
    QVERIFY(web.requests.empty());
    QCOMPARE(web.rejections, std::vector<HttpError>{HttpError::Malformed});
}

void HttpsServerBoundsTest::aClientThatVanishesLeavesNothing_data()
{
    QTest::addColumn<bool>("isSecure");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("withError");
    for (const bool withError : {false, true}) {
        const char* how = withError ? "with an error" : "quietly";
        QTest::addRow("at once, %s", how) << false << QByteArray() << withError;
        QTest::addRow("in a plain request, %s", how) << false << QByteArray("GET /") << withError;
        QTest::addRow("in the handshake, %s", how)
            << false << Browser::firstWord().left(50) << withError;
        QTest::addRow("after the first word, %s", how)
            << false << Browser::firstWord() << withError;
        QTest::addRow("after the handshake, %s", how) << true << QByteArray() << withError;
        QTest::addRow("in the head, %s", how) << true << QByteArray("GET / HT") << withError;
        QTest::addRow("in the body, %s", how)
            << true << post("/api/echo", "{}").chopped(1) << withError;
        QTest::addRow("before the answer, %s", how) << true << get("/api/later") << withError;
        QTest::addRow("in events, %s", how) << true << get("/api/events") << withError;
        QTest::addRow("in a page, %s", how) << true << get("/large") << withError;
    }
}

void HttpsServerBoundsTest::aClientThatVanishesLeavesNothing()
{
    QFETCH(bool, isSecure);
    QFETCH(QByteArray, bytes);
    QFETCH(bool, withError);
    WebUnderTest web(WebUnderTest::wideLimits());
    web.server->router().addPage("/large", "text/plain", QByteArray(10000000, 'x'));
    Browser browser(web.port);
    if (isSecure) {
        browser.secure();
        QTRY_VERIFY(browser.isSecure());
        browser.stopReading();
    }
    browser.send(bytes);
    QTRY_VERIFY(browser.hasSent() && web.connections() == 1);
    if (withError) {
        browser.reset();
    } else {
        browser.close();
    }
    QTRY_COMPARE(web.connections(), none);
    QVERIFY(web.requests.empty());
    QVERIFY(!web.hasRejected(HttpError::TooSlow));
}

void HttpsServerBoundsTest::aClientThatHasGoneBeforeItIsAcceptedLeavesNothing()
{
    WebUnderTest web(WebUnderTest::wideLimits());
    for (const bool withError : {false, true}) {
        Browser browser(web.port);
        browser.sendRaw(Browser::firstWord());
        if (withError) {
            browser.reset();
        } else {
            browser.close();
        }
    }
    QTRY_VERIFY(loopRests() && web.connections() == none);
    QVERIFY(web.rejections.empty());
    Browser browser = asking(web, get("/"));
    QTRY_VERIFY(got(browser, 200));
}

void HttpsServerBoundsTest::theLoopRestsWhateverIsWaitedFor_data()
{
    QTest::addColumn<bool>("isSecure");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("expected"); // of the answer
    QTest::newRow("first byte") << false << QByteArray() << QByteArray();
    QTest::newRow("rest of the first word")
        << false << Browser::firstWord().left(50) << QByteArray();
    QTest::newRow("second word") << false << Browser::firstWord() << QByteArray("\x16");
    QTest::newRow("end of a rejected client")
        << true << QByteArray("rubbish\r\n\r\n") << QByteArray("malformed");
    QTest::newRow("end of a plain one") << false << get("/") << QByteArray("https</p>");
    QTest::newRow("next request") << true << get("/") << QByteArray("desk</p>");
    QTest::newRow("rest of a request")
        << true << (get("/") + QByteArray("GET /")) << QByteArray("desk</p>");
    QTest::newRow("answer") << true << (get("/") + get("/api/later")) << QByteArray("desk</p>");
    QTest::newRow("answer, with more sent than is taken ahead")
        << true << (get("/") + get("/api/later") + get("/").repeated(3000))
        << QByteArray("desk</p>");
    QTest::newRow("event") << true << get("/api/events") << QByteArray("stream");
    QTest::newRow("reader") << true << get("/huge") << QByteArray("200 OK");
}

void HttpsServerBoundsTest::theLoopRestsWhateverIsWaitedFor()
{
    QFETCH(bool, isSecure);
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, expected);
    WebUnderTest web(WebUnderTest::wideLimits());
    web.server->router().addPage("/huge", "text/plain", QByteArray(20000000, 'x'));
    Browser browser(web.port);
    if (isSecure) {
        browser.secure();
    }
    browser.send(bytes);
    QTRY_VERIFY(web.connections() == 1 && browser.received().contains(expected));
    QVERIFY(loopRests());
    QCOMPARE(web.connections(), std::size_t(1));
}

void HttpsServerBoundsTest::ofManyOnlySoManyAreTaken()
{
    HttpLimits limits = WebUnderTest::wideLimits();
    limits.maxConnections = 512; // both ends take descriptors of this process
    WebUnderTest web(limits);
    constexpr int many = 600;
    std::deque<Browser> browsers;
    for (int number = 0; number < many; ++number) {
        browsers.push_back(asking(web, get("/api/events"), address(number % 12).constData()));
    }
    const auto served = [&browsers] {
        return std::count_if(
            browsers.begin(), browsers.end(), [](Browser& browser) { return got(browser, 200); });
    };
    const auto turnedAway = [&browsers] {
        return std::count_if(
            browsers.begin(), browsers.end(), [](Browser& browser) { return browser.hasEnded(); });
    };
    QTRY_COMPARE_WITH_TIMEOUT(served() + turnedAway(), many, 30000);
    QCOMPARE(static_cast<std::size_t>(served()), limits.maxConnections);
    QCOMPARE(web.connections(), limits.maxConnections);
    QCOMPARE(web.rejections.size(), many - limits.maxConnections);
    QVERIFY(web.hasRejected(HttpError::TooManyConnections));
    browsers.clear();
    web.streams.clear();
    QTRY_COMPARE(web.connections(), none);
}

void HttpsServerBoundsTest::ofOneAddressOnlySoManyAreTaken()
{
    HttpLimits limits = WebUnderTest::wideLimits();
    limits.maxConnectionsPerAddress = 3;
    WebUnderTest web(limits);
    std::deque<Browser> browsers;
    for (int number = 0; number < 3; ++number) {
        browsers.push_back(asking(web, get("/api/events")));
        QTRY_VERIFY(got(browsers.back(), 200));
    }
    Browser fourth = asking(web, get("/"));
    QTRY_VERIFY(fourth.hasEnded());
    QVERIFY(fourth.received().isEmpty());
    QCOMPARE(web.rejections, std::vector<HttpError>{HttpError::TooManyFromOneAddress});
    Browser other = asking(web, get("/"), "127.0.0.2");
    QTRY_VERIFY(got(other, 200));
}

void HttpsServerBoundsTest::theOldestIdleConnectionGivesWay_data()
{
    QTest::addColumn<std::size_t>("ofOneAddress");
    QTest::addColumn<std::size_t>("ofAll");
    QTest::newRow("address") << std::size_t{3} << std::size_t{100};
    QTest::newRow("all") << std::size_t{100} << std::size_t{3};
}

void HttpsServerBoundsTest::theOldestIdleConnectionGivesWay()
{
    QFETCH(const std::size_t, ofOneAddress);
    QFETCH(const std::size_t, ofAll);
    HttpLimits limits = WebUnderTest::wideLimits();
    limits.maxConnectionsPerAddress = ofOneAddress;
    limits.maxConnections = ofAll;
    WebUnderTest web(limits);
    Browser events = asking(web, get("/api/events"));
    QTRY_VERIFY(got(events, 200));
    Browser first = asking(web, get("/"));
    QTRY_VERIFY(got(first, 200));
    Browser second = asking(web, get("/"));
    QTRY_VERIFY(got(second, 200));
    Browser third = asking(web, get("/"));
    QTRY_VERIFY(got(third, 200));
    QTRY_VERIFY(first.hasEnded());
    QVERIFY(!second.hasEnded() && !events.hasEnded());
    QVERIFY(web.rejections.empty()); // an idle browser only asks again
}

void HttpsServerBoundsTest::whoTakesMostGivesWay_data()
{
    QTest::addColumn<QByteArrayList>("takers");
    QTest::newRow("one address") << QByteArrayList(8, "127.0.0.9");
    QByteArrayList network;
    for (int number = 0; number < 8; ++number) {
        network.append(address(number));
    }
    QTest::newRow("one network") << network;
}

void HttpsServerBoundsTest::whoTakesMostGivesWay()
{
    QFETCH(const QByteArrayList, takers);
    HttpLimits limits = WebUnderTest::wideLimits();
    limits.maxConnections = 10;
    WebUnderTest web(limits);
    std::deque<Browser> phones;
    for (int number = 0; number < 2; ++number) {
        phones.push_back(asking(web, get("/")));
        QTRY_VERIFY(got(phones.back(), 200));
    }
    std::deque<Browser> silent;
    for (const QByteArray& taker : takers) {
        silent.emplace_back(web.port, taker.constData());
    }
    QTRY_COMPARE(web.connections(), limits.maxConnections);
    for (int number = 0; number < 2; ++number) {
        phones.push_back(asking(web, get("/"), "127.0.0.3"));
        QTRY_VERIFY(got(phones.back(), 200));
    }
    QVERIFY(std::none_of(
        phones.begin(), phones.end(), [](Browser& phone) { return phone.hasEnded(); }));
    QCOMPARE(
        std::count_if(
            silent.begin(), silent.end(), [](Browser& browser) { return browser.hasEnded(); }),
        2);
    QCOMPARE(web.rejections, std::vector<HttpError>(2, HttpError::TooManyConnections));
}

void HttpsServerBoundsTest::aBrowserThatLoadsThePageDoesNotGiveWayToOneThatWaits()
{
    HttpLimits limits = WebUnderTest::wideLimits();
    limits.maxConnections = 4;
    limits.givesWayAfter = 1s;
    WebUnderTest web(limits);
    Browser silent(web.port, "127.0.0.2");
    QElapsedTimer waiting;
    waiting.start();
    QTRY_VERIFY(waiting.elapsed() > 1000 && web.connections() == 1);
    std::deque<Browser> phones;
    for (int number = 0; number < 4; ++number) {
        phones.push_back(asking(web, get("/")));
    }
    QTRY_COMPARE(
        std::count_if(phones.begin(), phones.end(), [](Browser& phone) { return got(phone, 200); }),
        4);
    QVERIFY(silent.hasEnded());
}

void HttpsServerBoundsTest::whatIsRefusedForItsRatePushesOutNoOther()
{
    HttpLimits limits = WebUnderTest::wideLimits();
    limits.maxConnections = 1;
    limits.requestsPerSecond = 0.0001;
    limits.requestBurst = 2;
    WebUnderTest web(limits);
    Browser flood = asking(web, get("/"), "127.0.0.2");
    QTRY_VERIFY(got(flood, 200));
    Browser phone = asking(web, get("/"));
    QTRY_VERIFY(got(phone, 200));
    Browser more = asking(web, get("/"), "127.0.0.2");
    QTRY_VERIFY(more.hasEnded());
    QVERIFY(!phone.hasEnded());
    QCOMPARE(web.rejections, std::vector<HttpError>{HttpError::TooManyRequests});
}

void HttpsServerBoundsTest::aConnectionThatEndsMakesRoom()
{
    HttpLimits limits = WebUnderTest::wideLimits();
    limits.maxConnections = 1;
    limits.maxConnectionsPerAddress = 1;
    WebUnderTest web(limits);
    for (int round = 0; round < 5; ++round) {
        Browser browser = asking(web, get("/"));
        QTRY_VERIFY(got(browser, 200));
        browser.close();
        QTRY_COMPARE(web.connections(), none);
    }
    QVERIFY(web.rejections.empty());
}

void HttpsServerBoundsTest::tooManyRequestsAreToldToSlowDown()
{
    HttpLimits limits = WebUnderTest::wideLimits();
    limits.requestsPerSecond = 0.0001;
    limits.requestBurst = 4; // the connection itself is one
    WebUnderTest web(limits);
    Browser browser = asking(web, post("/api/echo", "{}").repeated(6));
    QTRY_COMPARE(browser.received().count("HTTP/1.1 "), 6);
    QCOMPARE(browser.received().count("HTTP/1.1 200 "), 3);
    QCOMPARE(browser.received().count("HTTP/1.1 429 "), 3);
    QVERIFY(browser.received().endsWith("{\"error\":\"slow-down\",\"seconds\":1}"));
    QCOMPARE(web.requests.size(), std::size_t(3));
    QVERIFY(web.hasRejected(HttpError::TooManyRequests));
    Browser other = asking(web, get("/"), "127.0.0.2");
    QTRY_VERIFY(got(other, 200));
}

void HttpsServerBoundsTest::tooManyConnectionsInTooShortATimeAreRefused()
{
    HttpLimits limits = WebUnderTest::wideLimits();
    limits.requestsPerSecond = 0.0001;
    limits.requestBurst = 2;
    WebUnderTest web(limits);
    for (int number = 0; number < 2; ++number) {
        Browser browser(web.port);
        browser.secure();
        QTRY_VERIFY(browser.isSecure());
    }
    Browser third(web.port);
    third.secure();
    QTRY_VERIFY(third.hasEnded());
    QVERIFY(!third.isSecure());
    QCOMPARE(web.rejections, std::vector<HttpError>{HttpError::TooManyRequests});
}

void HttpsServerBoundsTest::withoutDescriptorsTheOthersAreServedOn()
{
    WebUnderTest web(WebUnderTest::wideLimits());
    Browser before = asking(web, get("/"));
    QTRY_VERIFY(got(before, 200));
    Browser starved = asking(web, get("/"));
    const bool isServed = [&] {
        const NoDescriptors nothingLeft;
        before.send(get("/nowhere"));
        return QTest::qWaitFor([&] { return before.received().endsWith("not-found\"}"); }) &&
               web.connections() == 1 && loopRests();
    }();
    QVERIFY(isServed);
    QTRY_VERIFY(got(starved, 200));
}

WINGBELL_GUILESS_TEST(HttpsServerBoundsTest)
#include "HttpsServerBoundsTest.moc"
