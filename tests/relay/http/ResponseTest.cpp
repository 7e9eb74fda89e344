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
    void fieldsGivenReplaceTheSafeOnes();
    void pagesRunOnlyWhatComesFromHere();
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
    const Response answer = {200, {}, {}};
    const QByteArray chunks = responseHead(answer, Framing::Chunks, true);
    QVERIFY(chunks.contains("\r\nTransfer-Encoding: chunked\r\n"));
    QVERIFY(!chunks.contains("Content-Length"));
    QVERIFY(!chunks.contains("Connection"));
    const QByteArray end = responseHead(answer, Framing::EndOfConnection, false);
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
    const Response answer = errorResponse(404, "not-found");
    QCOMPARE(answer.status, 404);
    QCOMPARE(answer.body, QByteArray("{\"error\":\"not-found\"}"));
    QVERIFY(responseHead(answer, Framing::Length, true)
                .contains("\r\nContent-Type: application/json\r\n"));
}

void ResponseTest::fieldsGivenReplaceTheSafeOnes()
{
    const QByteArray head = responseHead(
        {200, safeApiHeaders({{"cache-control", "max-age=5"}, {"X", "y"}}), {}}, Framing::Length,
        true);
    QVERIFY(head.contains("Cache-Control: max-age=5\r\n"));
    QVERIFY(!head.contains("no-store"));
    QVERIFY(head.contains("\r\nX: y\r\n"));
    QVERIFY(head.contains("\r\nX-Content-Type-Options: nosniff\r\n"));
    QVERIFY(head.contains("\r\nReferrer-Policy: no-referrer\r\n"));
    QVERIFY(head.contains("\r\nCross-Origin-Resource-Policy: same-origin\r\n"));
}

void ResponseTest::pagesRunOnlyWhatComesFromHere()
{
    const QByteArray head = responseHead({200, safePageHeaders(), {}}, Framing::Length, true);
    QVERIFY(head.contains("\r\nCache-Control: no-cache\r\n"));
    QVERIFY(head.contains(
        "\r\nContent-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; "
        "img-src 'self'; connect-src 'self'; media-src blob:; base-uri 'none'; "
        "form-action 'none'; frame-ancestors 'none'\r\n"));
}

WINGBELL_GUILESS_TEST(ResponseTest)
#include "ResponseTest.moc"
