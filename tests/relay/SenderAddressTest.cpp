#include "relay/net/SenderAddress.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <arpa/inet.h>
#include <cstring>
#include <net/if.h>

using wingbell::numericAddress;

namespace {

sockaddr_storage ipv6Address(const char* text, unsigned scope = 0)
{
    sockaddr_in6 six = {};
    six.sin6_family = AF_INET6;
    six.sin6_scope_id = scope;
    ::inet_pton(AF_INET6, text, &six.sin6_addr);
    sockaddr_storage result = {};
    std::memcpy(&result, &six, sizeof six);
    return result;
}

} // namespace

class SenderAddressTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anIpv4AddressIsToldAsOne();
    void anIpv4AddressOverIpv6IsToldAsIpv4();
    void aLinkLocalAddressKeepsItsInterface();
    void anythingElseIsUnknown();
};

void SenderAddressTest::anIpv4AddressIsToldAsOne()
{
    sockaddr_in four = {};
    four.sin_family = AF_INET;
    ::inet_pton(AF_INET, "192.168.1.20", &four.sin_addr);
    sockaddr_storage address = {};
    std::memcpy(&address, &four, sizeof four);
    QCOMPARE(numericAddress(address), QStringLiteral("192.168.1.20"));
}

void SenderAddressTest::anIpv4AddressOverIpv6IsToldAsIpv4()
{
    QCOMPARE(numericAddress(ipv6Address("::ffff:192.168.1.20")), QStringLiteral("192.168.1.20"));
    QCOMPARE(numericAddress(ipv6Address("fd00::2")), QStringLiteral("fd00::2"));
}

void SenderAddressTest::aLinkLocalAddressKeepsItsInterface()
{
    QCOMPARE(
        numericAddress(ipv6Address("fe80::1", if_nametoindex("lo"))), QStringLiteral("fe80::1%lo"));
}

void SenderAddressTest::anythingElseIsUnknown()
{
    QCOMPARE(numericAddress({}), QStringLiteral("an unknown address"));
}

WINGBELL_APPLESS_TEST(SenderAddressTest)
#include "SenderAddressTest.moc"
