#include "relay/net/IpAddress.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <arpa/inet.h>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>

using namespace wingbell;

namespace {

QHostAddress address(const char* text)
{
    return QHostAddress(QString::fromLatin1(text));
}

sockaddr_storage ipv6Socket(const char* text, unsigned scope = 0)
{
    sockaddr_in6 six = {};
    six.sin6_family = AF_INET6;
    six.sin6_port = htons(47000);
    six.sin6_scope_id = scope;
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
    void aSocketsAddressLosesItsPort();
    void anIpv4AddressInsideIpv6IsThatIpv4Address();
    void aLinkLocalAddressKeepsItsInterfaceButCountsWithoutIt();
    void anotherFamilyHasNoAddress();
    void aClientIsAnIpv4AddressOrTheFirstHalfOfAnIpv6One();
    void aNeighbourhoodIsTheLastByteOrTheSecondHalf();
};

void IpAddressTest::aSocketsAddressLosesItsPort()
{
    QCOMPARE(ipAddress(ipv4Socket("10.1.2.3")), address("10.1.2.3"));
    QCOMPARE(ipAddress(ipv6Socket("fd00::2")), address("fd00::2"));
    QCOMPARE(addressText(ipAddress(ipv4Socket("10.1.2.3"))), QStringLiteral("10.1.2.3"));
    QCOMPARE(addressText(ipAddress(ipv6Socket("fd00::2"))), QStringLiteral("fd00::2"));
}

void IpAddressTest::anIpv4AddressInsideIpv6IsThatIpv4Address()
{
    const QHostAddress inside = ipAddress(ipv6Socket("::ffff:192.168.1.5"));
    QCOMPARE(inside.protocol(), QHostAddress::IPv4Protocol);
    QCOMPARE(inside, ipAddress(ipv4Socket("192.168.1.5")));
    QCOMPARE(qHash(inside), qHash(ipAddress(ipv4Socket("192.168.1.5"))));
    QCOMPARE(addressText(inside), QStringLiteral("192.168.1.5"));
    QCOMPARE(ipAddress(ipv6Socket("::fffe:192.168.1.5")).protocol(), QHostAddress::IPv6Protocol);
    QCOMPARE(ipAddress(ipv6Socket("::")).protocol(), QHostAddress::IPv6Protocol);
}

void IpAddressTest::aLinkLocalAddressKeepsItsInterfaceButCountsWithoutIt()
{
    const QHostAddress scoped = ipAddress(ipv6Socket("fe80::1", if_nametoindex("lo")));
    QCOMPARE(addressText(scoped), QStringLiteral("fe80::1%lo"));
    QCOMPARE(scoped, address("fe80::1"));
    QCOMPARE(qHash(scoped), qHash(address("fe80::1")));
}

void IpAddressTest::anotherFamilyHasNoAddress()
{
    sockaddr_storage local = {};
    QVERIFY(ipAddress(local).isNull());
    local.ss_family = AF_UNIX;
    QVERIFY(ipAddress(local).isNull());
    QCOMPARE(addressText(ipAddress(local)), QStringLiteral("an unknown address"));
}

void IpAddressTest::aClientIsAnIpv4AddressOrTheFirstHalfOfAnIpv6One()
{
    QCOMPARE(clientNetwork(address("192.168.1.5")), address("192.168.1.5"));
    QCOMPARE(clientNetwork(address("2001:db8:1:2:3:4:5:6")), address("2001:db8:1:2::"));
    QCOMPARE(clientNetwork(address("fe80::1%lo")).toString(), QStringLiteral("fe80::"));
    QVERIFY(clientNetwork(QHostAddress()).isNull());
}

void IpAddressTest::aNeighbourhoodIsTheLastByteOrTheSecondHalf()
{
    QCOMPARE(neighbourhood(address("192.168.1.5")), address("192.168.1.0"));
    QCOMPARE(neighbourhood(address("2001:db8:1:2:3:4:5:6")), address("2001:db8:1:2::"));
    QVERIFY(neighbourhood(QHostAddress()).isNull());
}

WINGBELL_APPLESS_TEST(IpAddressTest)
#include "IpAddressTest.moc"
