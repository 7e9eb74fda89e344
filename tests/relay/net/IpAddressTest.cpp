#include "relay/net/IpAddress.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>

using wingbell::IpAddress;

namespace {

IpAddress address(const char* text)
{
    return IpAddress::fromText(QString::fromLatin1(text)).value();
}

sockaddr_storage ipv6Socket(const char* text)
{
    sockaddr_in6 six = {};
    six.sin6_family = AF_INET6;
    six.sin6_port = htons(47000);
    six.sin6_scope_id = 3;
    ::inet_pton(AF_INET6, text, &six.sin6_addr);
    sockaddr_storage result = {};
    std::memcpy(&result, &six, sizeof six);
    return result;
}

sockaddr_storage ipv4Socket(const char* text)
{
    sockaddr_in four = {};
    four.sin_family = AF_INET;
    four.sin_port = htons(47000);
    ::inet_pton(AF_INET, text, &four.sin_addr);
    sockaddr_storage result = {};
    std::memcpy(&result, &four, sizeof four);
    return result;
}

} // namespace

class IpAddressTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void textAndAddressAreOne_data();
    void textAndAddressAreOne();
    void anythingElseIsNoAddress_data();
    void anythingElseIsNoAddress();
    void aSocketsAddressLosesPortAndInterface();
    void anIpv4AddressInsideIpv6IsThatIpv4Address();
    void anotherFamilyHasNoAddress();
    void bytesAreInTheNetworksOrder();
    void kindsAreToldByTheirRanges_data();
    void kindsAreToldByTheirRanges();
    void aGuestIsAnIpv4AddressOrTheFirstHalfOfAnIpv6One();
};

void IpAddressTest::textAndAddressAreOne_data()
{
    QTest::addColumn<QString>("text");
    for (const char* text :
         {"0.0.0.0", "192.168.1.5", "255.255.255.255", "::", "::1", "fd00::1:2", "fe80::1",
          "2001:db8:1:2:3:4:5:6"}) {
        QTest::newRow(text) << QString::fromLatin1(text);
    }
}

void IpAddressTest::textAndAddressAreOne()
{
    QFETCH(QString, text);
    QCOMPARE(IpAddress::fromText(text).value().text(), text);
}

void IpAddressTest::anythingElseIsNoAddress_data()
{
    QTest::addColumn<QString>("text");
    for (const char* text :
         {"", " ", "1.2.3", "1.2.3.4.5", "256.1.1.1", "01.2.3.4 ", "[::1]", "fe80::1%eth0",
          "1.2.3.4:80", ":::", "g::1", "desk.local"}) {
        QTest::newRow(text) << QString::fromLatin1(text);
    }
    QTest::newRow("zero inside") << QStringLiteral("1.2.3.4") + QChar(QChar::Null);
    QTest::newRow("digits of another script") << QStringLiteral("١.٢.٣.٤");
}

void IpAddressTest::anythingElseIsNoAddress()
{
    QFETCH(QString, text);
    QVERIFY(!IpAddress::fromText(text));
}

void IpAddressTest::aSocketsAddressLosesPortAndInterface()
{
    QCOMPARE(IpAddress::fromSocket(ipv4Socket("10.1.2.3")).value(), address("10.1.2.3"));
    QCOMPARE(IpAddress::fromSocket(ipv6Socket("fe80::7")).value(), address("fe80::7"));
}

void IpAddressTest::anIpv4AddressInsideIpv6IsThatIpv4Address()
{
    const IpAddress inside = IpAddress::fromSocket(ipv6Socket("::ffff:192.168.1.5")).value();
    QVERIFY(inside.isIpv4());
    QCOMPARE(inside, address("192.168.1.5"));
    QCOMPARE(inside.text(), QStringLiteral("192.168.1.5"));
    QVERIFY(!address("::fffe:192.168.1.5").isIpv4());
}

void IpAddressTest::anotherFamilyHasNoAddress()
{
    QVERIFY(!IpAddress::fromSocket({}));
    sockaddr_storage local = {};
    local.ss_family = AF_UNIX;
    QVERIFY(!IpAddress::fromSocket(local));
}

void IpAddressTest::bytesAreInTheNetworksOrder()
{
    QCOMPARE(address("192.168.1.5").bytes(), QByteArray::fromHex("c0a80105"));
    QCOMPARE(address("fd00:1::2").bytes(), QByteArray::fromHex("fd000001000000000000000000000002"));
}

void IpAddressTest::kindsAreToldByTheirRanges_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("kinds");
    const auto row = [](const char* text, const char* kinds) {
        QTest::newRow(text) << QString::fromLatin1(text) << QString::fromLatin1(kinds);
    };
    row("0.0.0.0", "unspecified ");
    row("::", "unspecified ");
    row("127.0.0.1", "loopback ");
    row("127.255.255.254", "loopback ");
    row("126.255.255.255", "");
    row("::1", "loopback ");
    row("::2", "");
    row("10.0.0.0", "private ");
    row("11.0.0.0", "");
    row("172.15.255.255", "");
    row("172.16.0.0", "private ");
    row("172.31.255.255", "private ");
    row("172.32.0.0", "");
    row("192.167.255.255", "");
    row("192.168.0.0", "private ");
    row("192.169.0.0", "");
    row("100.64.0.1", "");
    row("169.253.255.255", "");
    row("169.254.0.1", "link-local ");
    row("223.255.255.255", "");
    row("224.0.0.251", "multicast ");
    row("239.255.255.255", "multicast ");
    row("240.0.0.1", "");
    row("fbff::1", "");
    row("fc00::1", "private ");
    row("fdff::1", "private ");
    row("fe00::1", "");
    row("fe80::1", "link-local ");
    row("febf::1", "link-local ");
    row("fec0::1", "");
    row("ff02::fb", "multicast ");
    row("2001:db8::1", "");
}

void IpAddressTest::kindsAreToldByTheirRanges()
{
    QFETCH(QString, text);
    const IpAddress told = IpAddress::fromText(text).value();
    QString kinds;
    kinds += told.isUnspecified() ? QStringLiteral("unspecified ") : QString();
    kinds += told.isLoopback() ? QStringLiteral("loopback ") : QString();
    kinds += told.isPrivate() ? QStringLiteral("private ") : QString();
    kinds += told.isLinkLocal() ? QStringLiteral("link-local ") : QString();
    kinds += told.isMulticast() ? QStringLiteral("multicast ") : QString();
    QTEST(kinds, "kinds");
}

void IpAddressTest::aGuestIsAnIpv4AddressOrTheFirstHalfOfAnIpv6One()
{
    QCOMPARE(address("192.168.1.5").guest(), address("192.168.1.5"));
    QVERIFY(address("192.168.1.5").guest() != address("192.168.1.6").guest());
    QCOMPARE(address("2001:db8:1:2:3:4:5:6").guest(), address("2001:db8:1:2::"));
    QCOMPARE(address("2001:db8:1:2::9").guest(), address("2001:db8:1:2:ffff::").guest());
    QVERIFY(address("2001:db8:1:2::9").guest() != address("2001:db8:1:3::9").guest());
}

WINGBELL_APPLESS_TEST(IpAddressTest)
#include "IpAddressTest.moc"
