#include "relay/http/Response.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

class ResponseTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theHeadTellsStatusFieldsAndLength();
    void theHeadTellsHowTheBodyEnds();
    void noBodyHasNoLength_data();
    void noBodyHasNoLength();
    void aFieldCannotBeginALineOfItsOwn();
    void aChunkTellsItsSize();
    void errorsAreJson();
    void apiResponsesAreNotKept();
    void pagesRunOnlyWhatComesFromHere();
    void linesOfAnEventStayLines_data();
    void linesOfAnEventStayLines();
};

void ResponseTest::theHeadTellsStatusFieldsAndLength()
{
    const QByteArray head = responseHead({200, {{"A", "b"}}, "abc"}, Framing::Length, true);
    QVERIFY(head.startsWith("HTTP/1.1 200 OK\r\nDate: "));
    QVERIFY(head.contains(" GMT\r\n"));
    QVERIFY(head.endsWith("\r\nA: b\r\nContent-Length: 3\r\n\r\n"));
    QVERIFY(!head.contains("Server"));
}

void ResponseTest::theHeadTellsHowTheBodyEnds()
{
    const Response response = {200, {}, {}};
    const QByteArray chunks = responseHead(response, Framing::Chunks, true);
    QVERIFY(chunks.contains("\r\nTransfer-Encoding: chunked\r\n"));
    QVERIFY(!chunks.contains("Content-Length"));
    QVERIFY(!chunks.contains("Connection"));
    const QByteArray end = responseHead(response, Framing::EndOfConnection, false);
    QVERIFY(!end.contains("Content-Length"));
    QVERIFY(!end.contains("chunked"));
    QVERIFY(end.contains("\r\nConnection: close\r\n"));
}

void ResponseTest::noBodyHasNoLength_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("no content") << 204;
    QTest::newRow("not modified") << 304;
}

void ResponseTest::noBodyHasNoLength()
{
    QFETCH(int, status);
    QVERIFY(!responseHead({status, {}, {}}, Framing::Length, true).contains("Content-Length"));
}

void ResponseTest::aFieldCannotBeginALineOfItsOwn()
{
    const QByteArray head = responseHead(
        {200, {{"A", "b\r\nEvil: c"}, {"D\nEvil", "e"}, {"F", "g"}}, {}}, Framing::Length, true);
    QVERIFY(!head.contains("Evil"));
    QVERIFY(head.contains("\r\nF: g\r\n"));
}

void ResponseTest::aChunkTellsItsSize()
{
    QCOMPARE(chunk("0123456789abcdefX"), QByteArray("11\r\n0123456789abcdefX\r\n"));
    QCOMPARE(chunk({}), QByteArray("0\r\n\r\n"));
}

void ResponseTest::errorsAreJson()
{
    const Response response = errorResponse(404, "not-found");
    QCOMPARE(response.status, 404);
    QCOMPARE(response.body, QByteArray("{\"error\":\"not-found\"}"));
    QVERIFY(responseHead(response, Framing::Length, true)
                .contains("\r\nContent-Type: application/json\r\n"));
}

void ResponseTest::apiResponsesAreNotKept()
{
    const QByteArray head = responseHead(jsonResponse(204, {}), Framing::Length, true);
    QVERIFY(head.contains("\r\nCache-Control: no-store\r\n"));
    QVERIFY(head.contains(
        "\r\nContent-Security-Policy: default-src 'none'; frame-ancestors 'none'\r\n"));
    QVERIFY(head.contains("\r\nX-Content-Type-Options: nosniff\r\n"));
    QVERIFY(head.contains("\r\nReferrer-Policy: no-referrer\r\n"));
    QVERIFY(head.contains("\r\nCross-Origin-Resource-Policy: same-origin\r\n"));
    QVERIFY(!head.contains("\r\nContent-Type:"));
}

void ResponseTest::pagesRunOnlyWhatComesFromHere()
{
    const QByteArray head =
        responseHead(pageResponse("text/html", {}, defaultPagePolicy()), Framing::Length, true);
    QVERIFY(head.contains("\r\nCache-Control: no-cache\r\n"));
    QVERIFY(head.contains(
        "\r\nContent-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; "
        "img-src 'self'; connect-src 'self'; media-src blob:; base-uri 'none'; "
        "form-action 'none'; frame-ancestors 'none'\r\n"));
}

void ResponseTest::linesOfAnEventStayLines_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("nothing") << QByteArray() << QByteArray("data: \n\n");
    QTest::newRow("line feed") << QByteArray("a\nb") << QByteArray("data: a\ndata: b\n\n");
    QTest::newRow("both") << QByteArray("a\r\nb") << QByteArray("data: a\ndata: b\n\n");
    QTest::newRow("carriage return") << QByteArray("a\rb") << QByteArray("data: a\ndata: b\n\n");
    QTest::newRow("an event in it")
        << QByteArray("a\n\nevent: b") << QByteArray("data: a\ndata: \ndata: event: b\n\n");
}

void ResponseTest::linesOfAnEventStayLines()
{
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, text);
    QCOMPARE(serverSentEvent("desk", data), QByteArray("event: desk\n").append(text));
}

WINGBELL_GUILESS_TEST(ResponseTest)
#include "ResponseTest.moc"
