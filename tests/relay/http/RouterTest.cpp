#include "relay/http/Router.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

class RouterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onlyAddressesAndItsOwnNamesAreThisMachine_data();
    void onlyAddressesAndItsOwnNamesAreThisMachine();
    void anOriginIsTheSameWithTheSameSchemeHostAndPort_data();
    void anOriginIsTheSameWithTheSameSchemeHostAndPort();
};

void RouterTest::onlyAddressesAndItsOwnNamesAreThisMachine_data()
{
    QTest::addColumn<QByteArray>("host");
    QTest::addColumn<bool>("own");
    QTest::newRow("address") << QByteArray("192.168.1.5") << true;
    QTest::newRow("address and port") << QByteArray("192.168.1.5:47000") << true;
    QTest::newRow("long address") << QByteArray("[fe80::1]") << true;
    QTest::newRow("long address and port") << QByteArray("[2001:db8::5]:47000") << true;
    QTest::newRow("local") << QByteArray("localhost:47000") << true;
    QTest::newRow("name") << QByteArray("desk.local:47000") << true;
    QTest::newRow("name in capitals") << QByteArray("DESK.Local") << true;
    QTest::newRow("name with a root") << QByteArray("desk.local.:47000") << true;
    QTest::newRow("nothing") << QByteArray() << false;
    QTest::newRow("another name") << QByteArray("evil.example:47000") << false;
    QTest::newRow("longer name") << QByteArray("desk.local.evil.example") << false;
    QTest::newRow("name before it") << QByteArray("evil.desk.local") << false;
    QTest::newRow("name like an address") << QByteArray("192.168.1.5.evil.example") << false;
    QTest::newRow("short address") << QByteArray("127.1") << false;
    QTest::newRow("number") << QByteArray("2130706433") << false;
    QTest::newRow("long address without brackets") << QByteArray("fe80::1") << false;
    QTest::newRow("open bracket") << QByteArray("[fe80::1") << false;
    QTest::newRow("empty bracket") << QByteArray("[]:47000") << false;
    QTest::newRow("name behind a bracket") << QByteArray("[fe80::1]evil.example") << false;
    QTest::newRow("port of letters") << QByteArray("desk.local:http") << false;
    QTest::newRow("two ports") << QByteArray("desk.local:1:2") << false;
}

void RouterTest::onlyAddressesAndItsOwnNamesAreThisMachine()
{
    QFETCH(QByteArray, host);
    QTEST(isOwnHost(host, {"desk", "desk.local"}), "own");
}

void RouterTest::anOriginIsTheSameWithTheSameSchemeHostAndPort_data()
{
    QTest::addColumn<QByteArray>("origin");
    QTest::addColumn<bool>("same");
    QTest::newRow("same") << QByteArray("https://desk.local:47000") << true;
    QTest::newRow("capitals") << QByteArray("https://DESK.local:47000") << true;
    QTest::newRow("plain") << QByteArray("http://desk.local:47000") << false;
    QTest::newRow("another port") << QByteArray("https://desk.local:47001") << false;
    QTest::newRow("no port") << QByteArray("https://desk.local") << false;
    QTest::newRow("another host") << QByteArray("https://evil.example:47000") << false;
    QTest::newRow("none") << QByteArray("null") << false;
    QTest::newRow("empty") << QByteArray() << false;
    QTest::newRow("with a path") << QByteArray("https://desk.local:47000/") << false;
}

void RouterTest::anOriginIsTheSameWithTheSameSchemeHostAndPort()
{
    QFETCH(QByteArray, origin);
    QTEST(isSameOrigin(origin, "desk.local:47000"), "same");
}

WINGBELL_GUILESS_TEST(RouterTest)
#include "RouterTest.moc"
