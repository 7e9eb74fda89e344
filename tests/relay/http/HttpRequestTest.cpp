#include "relay/http/HttpRequest.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

class HttpRequestTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aBrowsersRequestIsRead();
    void namesOfFieldsMayBeInAnyCase();
    void onlyTheFirstQuestionMarkBeginsTheQuery();
    void anOldVersionKeepsNoConnection();
    void theConnectionIsClosedWhenAskedFor_data();
    void theConnectionIsClosedWhenAskedFor();
    void aLengthTooLargeForANumberIsStillTooLarge();
    void whatTwoCouldReadDifferentlyIsMalformed_data();
    void whatTwoCouldReadDifferentlyIsMalformed();
    void whatIsNotServedIsAnsweredWithItsOwnStatus_data();
    void whatIsNotServedIsAnsweredWithItsOwnStatus();
    void itemsOfTheQueryAreFoundAndDecoded_data();
    void itemsOfTheQueryAreFoundAndDecoded();
    void aMissingItemIsNothing();
};

void HttpRequestTest::aBrowsersRequestIsRead()
{
    const auto reading = readRequestHead("POST /api/join?x=1 HTTP/1.1\r\n"
                                         "Host: 192.168.1.5:47000\r\n"
                                         "User-Agent: Browser (\xc3\xa4)\r\n"
                                         "Origin:https://192.168.1.5:47000\r\n"
                                         "Content-Type: application/json \r\n"
                                         "If-None-Match: \"abc\"\r\n"
                                         "Content-Length: 17\r\n"
                                         "X-Empty:\r\n"
                                         "Expect: 100-continue");
    QVERIFY(reading);
    const HttpRequest& head = *reading;
    QCOMPARE(head.method, QByteArray("POST"));
    QCOMPARE(head.path, QByteArray("/api/join"));
    QCOMPARE(head.query, QByteArray("x=1"));
    QCOMPARE(head.host, QByteArray("192.168.1.5:47000"));
    QCOMPARE(head.origin.value(), QByteArray("https://192.168.1.5:47000"));
    QCOMPARE(head.ifNoneMatch, QByteArray("\"abc\""));
    QCOMPARE(head.contentLength, std::uint64_t(17));
    QVERIFY(head.expectsContinue);
    QVERIFY(head.keepsConnection);
    QVERIFY(head.takesChunks);
    QVERIFY(!head.isChunked);
}

void HttpRequestTest::namesOfFieldsMayBeInAnyCase()
{
    const auto reading =
        readRequestHead("POST / HTTP/1.1\r\nhOST: desk\r\ntransfer-ENCODING: CHUNKED");
    QVERIFY(reading);
    QCOMPARE(reading.value().host, QByteArray("desk"));
    QVERIFY(reading.value().isChunked);
}

void HttpRequestTest::onlyTheFirstQuestionMarkBeginsTheQuery()
{
    const auto reading = readRequestHead("GET /a?b?c=/.. HTTP/1.1\r\nHost: desk");
    QCOMPARE(reading.value().path, QByteArray("/a"));
    QCOMPARE(reading.value().query, QByteArray("b?c=/.."));
}

void HttpRequestTest::anOldVersionKeepsNoConnection()
{
    const auto reading = readRequestHead("GET / HTTP/1.0\r\nHost: desk");
    QVERIFY(!reading.value().keepsConnection);
    QVERIFY(!reading.value().takesChunks);
}

void HttpRequestTest::theConnectionIsClosedWhenAskedFor_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("keeps");
    QTest::newRow("close") << QByteArray("close") << false;
    QTest::newRow("in a list") << QByteArray("TE , Close") << false;
    QTest::newRow("in a second field") << QByteArray("keep-alive\r\nConnection: close") << false;
    QTest::newRow("keep") << QByteArray("keep-alive, Upgrade") << true;
    QTest::newRow("another word") << QByteArray("closed") << true;
    QTest::newRow("nothing") << QByteArray(",, ,") << true;
}

void HttpRequestTest::theConnectionIsClosedWhenAskedFor()
{
    QFETCH(QByteArray, value);
    const auto reading =
        readRequestHead(QByteArray("GET / HTTP/1.1\r\nHost: desk\r\nConnection: ").append(value));
    QTEST(reading.value().keepsConnection, "keeps");
}

void HttpRequestTest::aLengthTooLargeForANumberIsStillTooLarge()
{
    const auto reading = readRequestHead(
        "POST / HTTP/1.1\r\nHost: desk\r\nContent-Length: 99999999999999999999999999");
    QVERIFY(reading->contentLength > 1000000000000000000U);
}

void HttpRequestTest::whatTwoCouldReadDifferentlyIsMalformed_data()
{
    QTest::addColumn<QByteArray>("head");
    const auto withField = [](const char* field) {
        return QByteArray("POST / HTTP/1.1\r\nHost: desk\r\n").append(field);
    };
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("no host") << QByteArray("GET / HTTP/1.1");
    QTest::newRow("two hosts") << withField("Host: desk");
    QTest::newRow("host with a path") << QByteArray("GET / HTTP/1.1\r\nHost: desk/x");
    QTest::newRow("host with a user") << QByteArray("GET / HTTP/1.1\r\nHost: me@desk");
    QTest::newRow("no path") << QByteArray("GET HTTP/1.1\r\nHost: desk");
    QTest::newRow("no version") << QByteArray("GET /\r\nHost: desk");
    QTest::newRow("two blanks") << QByteArray("GET  / HTTP/1.1\r\nHost: desk");
    QTest::newRow("blank in the path") << QByteArray("GET /a b HTTP/1.1\r\nHost: desk");
    QTest::newRow("tab in the path") << QByteArray("GET /a\tb HTTP/1.1\r\nHost: desk");
    QTest::newRow("absolute") << QByteArray("GET https://desk/ HTTP/1.1\r\nHost: desk");
    QTest::newRow("star") << QByteArray("GET * HTTP/1.1\r\nHost: desk");
    QTest::newRow("fragment") << QByteArray("GET /#a HTTP/1.1\r\nHost: desk");
    QTest::newRow("path not in ASCII") << QByteArray("GET /\xc3\xa4 HTTP/1.1\r\nHost: desk");
    QTest::newRow("method with a bracket") << QByteArray("GE(T / HTTP/1.1\r\nHost: desk");
    QTest::newRow("no method") << QByteArray(" / HTTP/1.1\r\nHost: desk");
    QTest::newRow("version of another protocol") << QByteArray("GET / RTSP/1.0\r\nHost: desk");
    QTest::newRow("empty line first") << QByteArray("\r\nGET / HTTP/1.1\r\nHost: desk");
    QTest::newRow("line feed alone") << withField("A: b\nContent-Length: 5");
    QTest::newRow("carriage return alone") << withField("A: b\rContent-Length: 5");
    QTest::newRow("null") << withField("A: b").append('\0');
    QTest::newRow("field going on") << withField("A: b\r\n c");
    QTest::newRow("blank before the colon") << withField("Content-Length : 5");
    QTest::newRow("no colon") << withField("Content-Length 5");
    QTest::newRow("no name") << withField(": 5");
    QTest::newRow("two lengths") << withField("Content-Length: 5\r\nContent-Length: 6");
    QTest::newRow("the same length twice") << withField("Content-Length: 5\r\nContent-Length: 5");
    QTest::newRow("lengths in a list") << withField("Content-Length: 5, 5");
    QTest::newRow("length with a sign") << withField("Content-Length: +5");
    QTest::newRow("negative length") << withField("Content-Length: -1");
    QTest::newRow("length in hex") << withField("Content-Length: 0x5");
    QTest::newRow("length of nothing") << withField("Content-Length:");
    QTest::newRow("length and chunks")
        << withField("Content-Length: 5\r\nTransfer-Encoding: chunked");
    QTest::newRow("chunks and length")
        << withField("Transfer-Encoding: chunked\r\nContent-Length: 5");
    QTest::newRow("chunks twice") << withField(
        "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked");
    QTest::newRow("chunks in an old version")
        << QByteArray("POST / HTTP/1.0\r\nHost: desk\r\nTransfer-Encoding: chunked");
    QTest::newRow("two origins") << withField("Origin: https://desk\r\nOrigin: https://desk");
}

void HttpRequestTest::whatTwoCouldReadDifferentlyIsMalformed()
{
    QFETCH(QByteArray, head);
    const auto reading = readRequestHead(head);
    QVERIFY(!reading);
    QCOMPARE(reading.error(), (RequestError{400, "malformed", HttpError::Malformed}));
}

void HttpRequestTest::whatIsNotServedIsAnsweredWithItsOwnStatus_data()
{
    QTest::addColumn<QByteArray>("head");
    QTest::addColumn<int>("status");
    for (const char* method : {"PUT", "DELETE", "TRACE", "OPTIONS", "CONNECT", "get", "BREW"}) {
        QTest::newRow(method) << QByteArray(method).append(" / HTTP/1.1\r\nHost: desk") << 405;
    }
    QTest::newRow("HTTP/2") << QByteArray("PRI * HTTP/2.0") << 505;
    QTest::newRow("HTTP/1.2") << QByteArray("GET / HTTP/1.2\r\nHost: desk") << 505;
    QTest::newRow("compressed")
        << QByteArray("POST / HTTP/1.1\r\nHost: desk\r\nTransfer-Encoding: gzip, chunked") << 501;
    QTest::newRow("expectation") << QByteArray("POST / HTTP/1.1\r\nHost: desk\r\nExpect: miracles")
                                 << 417;
}

void HttpRequestTest::whatIsNotServedIsAnsweredWithItsOwnStatus()
{
    QFETCH(QByteArray, head);
    const auto reading = readRequestHead(head);
    QVERIFY(!reading);
    QTEST(reading.error().status, "status");
}

void HttpRequestTest::itemsOfTheQueryAreFoundAndDecoded_data()
{
    QTest::addColumn<QByteArray>("query");
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("alone") << QByteArray("session=abc") << QByteArray("abc");
    QTest::newRow("behind others") << QByteArray("a=b&&session=abc&c=d") << QByteArray("abc");
    QTest::newRow("first of two") << QByteArray("session=1&session=2") << QByteArray("1");
    QTest::newRow("encoded") << QByteArray("s%65ssion=a%26+%C3%a4") << QByteArray("a& \xc3\xa4");
    QTest::newRow("cut off") << QByteArray("session=a%4") << QByteArray("a%4");
    QTest::newRow("empty") << QByteArray("session=") << QByteArray("");
    QTest::newRow("without a sign") << QByteArray("session") << QByteArray("");
    QTest::newRow("two signs") << QByteArray("session=a=b") << QByteArray("a=b");
}

void HttpRequestTest::itemsOfTheQueryAreFoundAndDecoded()
{
    QFETCH(QByteArray, query);
    HttpRequest request;
    request.query = query;
    QVERIFY(request.queryItem("session").has_value());
    QTEST(request.queryItem("session").value(), "value");
}

void HttpRequestTest::aMissingItemIsNothing()
{
    HttpRequest request;
    QVERIFY(!request.queryItem("session").has_value());
    request.query = "sessions=1&a=session";
    QVERIFY(!request.queryItem("session").has_value());
}

WINGBELL_GUILESS_TEST(HttpRequestTest)
#include "HttpRequestTest.moc"
