#include "relay/web/WebRequest.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

class WebRequestTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itemsOfTheQueryAreFoundAndDecoded_data();
    void itemsOfTheQueryAreFoundAndDecoded();
    void aMissingItemIsNothing();
};

void WebRequestTest::itemsOfTheQueryAreFoundAndDecoded_data()
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

void WebRequestTest::itemsOfTheQueryAreFoundAndDecoded()
{
    QFETCH(QByteArray, query);
    WebRequest request;
    request.query = query;
    QVERIFY(request.queryItem("session").has_value());
    QTEST(request.queryItem("session").value(), "value");
}

void WebRequestTest::aMissingItemIsNothing()
{
    WebRequest request;
    QVERIFY(!request.queryItem("session").has_value());
    request.query = "sessions=1&a=session";
    QVERIFY(!request.queryItem("session").has_value());
}

WINGBELL_GUILESS_TEST(WebRequestTest)
#include "WebRequestTest.moc"
