#include "relay/web/PlainRequest.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

Q_DECLARE_METATYPE(wingbell::PlainRequest)

class PlainRequestTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theBeginningTellsWhatItIs_data();
    void theBeginningTellsWhatItIs();
};

void PlainRequestTest::theBeginningTellsWhatItIs_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<PlainRequest>("expected");
    QTest::newRow("nothing") << QByteArray() << PlainRequest::Incomplete;
    QTest::newRow("a letter") << QByteArray("G") << PlainRequest::Incomplete;
    QTest::newRow("no end yet") << QByteArray("GET / HTTP/1.1\r\nHost: desk\r\n")
                                << PlainRequest::Incomplete;
    QTest::newRow("page") << QByteArray("GET / HTTP/1.1\r\nHost: desk\r\n\r\n")
                          << PlainRequest::Get;
    QTest::newRow("page by hand") << QByteArray("GET /\n\n") << PlainRequest::Get;
    QTest::newRow("head") << QByteArray("HEAD / HTTP/1.1\r\n\r\n") << PlainRequest::Head;
    QTest::newRow("endless page") << QByteArray("GET /").append(mostPlainRequestBytes - 5, 'x')
                                  << PlainRequest::Get;
    QTest::newRow("post") << QByteArray("POST / HTTP/1.1\r\n\r\n") << PlainRequest::Other;
    QTest::newRow("small letters") << QByteArray("get /") << PlainRequest::Other;
    QTest::newRow("another shell") << QByteArray("SSH-2.0-x\r\n") << PlainRequest::Other;
    QTest::newRow("no letter") << QByteArray("\0\0", 2) << PlainRequest::Other;
    QTest::newRow("a longer word") << QByteArray("GETTING /\r\n\r\n") << PlainRequest::Other;
}

void PlainRequestTest::theBeginningTellsWhatItIs()
{
    QFETCH(QByteArray, bytes);
    QTEST(readPlainRequest(bytes), "expected");
}

WINGBELL_GUILESS_TEST(PlainRequestTest)
#include "PlainRequestTest.moc"
