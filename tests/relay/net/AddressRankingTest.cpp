#include "relay/net/AddressRanking.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <algorithm>

using namespace wingbell;

namespace {

QHostAddress ip(const char* text)
{
    return QHostAddress(QString::fromLatin1(text));
}

/// An address of a real adapter on a cable.
InterfaceAddress on(const char* interface, const char* address)
{
    InterfaceAddress result = {QString::fromLatin1(interface), ip(address)};
    result.up = true;
    result.hasDevice = true;
    return result;
}

InterfaceAddress virtualOn(const char* interface, const char* address)
{
    InterfaceAddress result = on(interface, address);
    result.hasDevice = false;
    return result;
}

InterfaceAddress wirelessOn(const char* interface, const char* address)
{
    InterfaceAddress result = on(interface, address);
    result.wireless = true;
    return result;
}

InterfaceAddress loopback(const char* address)
{
    InterfaceAddress result = virtualOn("lo", address);
    result.loopback = true;
    return result;
}

QStringList ranked(const std::vector<InterfaceAddress>& addresses)
{
    QStringList texts;
    for (const InterfaceAddress& address : rankedAddresses(addresses)) {
        texts.append(address.address.toString());
    }
    return texts;
}

QStringList list(std::initializer_list<const char*> texts)
{
    QStringList result;
    for (const char* text : texts) {
        result.append(QString::fromLatin1(text));
    }
    return result;
}

} // namespace

class AddressRankingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theBestAddressComesFirst();
    void theOrderOfReadingDoesNotMatterAcrossRanks();
    void equalAddressesKeepTheirOrder();
    void aCableComesBeforeWireless();
    void ranksAreToldByTheirRanges_data();
    void ranksAreToldByTheirRanges();
    void whatProgramsMakeIsVirtual_data();
    void whatProgramsMakeIsVirtual();
    void aNameThatOnlyResemblesAVirtualOneIsReal();
    void amongLinkLocalAddressesARealAdaptersIpv4ComesFirst();
    void loopbackIsForWantOfAnythingElse();
    void whatIsOfNoUseIsLeftOut();
    void anAddressOnTwoInterfacesIsTakenOnce();
    void addressesAreWrittenAsBrowsersTakeThem_data();
    void addressesAreWrittenAsBrowsersTakeThem();
    void aHostsNameIsWrittenAsItIs();
};

void AddressRankingTest::theBestAddressComesFirst()
{
    QCOMPARE(
        ranked(
            {loopback("127.0.0.1"), virtualOn("docker0", "172.17.0.1"), on("eth0", "169.254.7.7"),
             on("eth0", "fe80::7"), on("eth0", "2001:db8::7"), on("eth0", "fd00::7"),
             on("eth0", "203.0.113.7"), on("eth0", "192.168.1.7"), loopback("::1")}),
        list(
            {"192.168.1.7", "203.0.113.7", "fd00::7", "2001:db8::7", "172.17.0.1", "169.254.7.7",
             "fe80::7"}));
}

void AddressRankingTest::theOrderOfReadingDoesNotMatterAcrossRanks()
{
    std::vector<InterfaceAddress> addresses = {
        on("eth0", "192.168.1.7"), on("eth0", "203.0.113.7"),    on("eth0", "fd00::7"),
        on("eth0", "2001:db8::7"), virtualOn("wg0", "10.8.0.1"), on("eth0", "169.254.7.7"),
    };
    const QStringList expected = ranked(addresses);
    const auto byText = [](const auto& left, const auto& right) {
        return left.address.toString() < right.address.toString();
    };
    std::sort(addresses.begin(), addresses.end(), byText);
    do {
        QCOMPARE(ranked(addresses), expected);
    } while (std::next_permutation(addresses.begin(), addresses.end(), byText));
}

void AddressRankingTest::equalAddressesKeepTheirOrder()
{
    QCOMPARE(
        ranked({on("eth1", "10.0.0.9"), on("eth0", "192.168.1.7"), on("eth2", "10.0.0.3")}),
        list({"10.0.0.9", "192.168.1.7", "10.0.0.3"}));
}

void AddressRankingTest::aCableComesBeforeWireless()
{
    QCOMPARE(
        ranked(
            {wirelessOn("wlan0", "192.168.1.8"), on("eth0", "192.168.1.7"),
             on("eth0", "203.0.113.7")}),
        list({"192.168.1.7", "192.168.1.8", "203.0.113.7"}));
}

void AddressRankingTest::ranksAreToldByTheirRanges_data()
{
    QTest::addColumn<AddressRank>("rank");
    const auto rows = [](AddressRank rank, std::initializer_list<const char*> addresses) {
        for (const char* address : addresses) {
            QTest::newRow(address) << rank;
        }
    };
    rows(
        AddressRank::PrivateIpv4,
        {"10.0.0.0", "10.255.255.255", "172.16.0.0", "172.31.255.255", "192.168.0.0"});
    rows(
        AddressRank::OtherIpv4,
        {"11.0.0.0", "172.15.255.255", "172.32.0.0", "192.167.255.255", "192.169.0.0", "100.64.0.1",
         "169.253.255.255", "126.255.255.255"});
    rows(AddressRank::UniqueLocalIpv6, {"fc00::1", "fdff::1"});
    rows(AddressRank::GlobalIpv6, {"fbff::1", "fe00::1", "2001:db8::1", "::2"});
    rows(AddressRank::LinkLocal, {"169.254.0.1", "fe80::1", "febf::1"});
    rows(AddressRank::Loopback, {"127.0.0.1", "127.255.255.254", "::1"});
}

void AddressRankingTest::ranksAreToldByTheirRanges()
{
    QFETCH(AddressRank, rank);
    QCOMPARE(rankOf(on("eth0", QTest::currentDataTag())), rank);
}

void AddressRankingTest::whatProgramsMakeIsVirtual_data()
{
    QTest::addColumn<QString>("interface");
    for (const char* name :
         {"docker0", "br-4f2a", "veth12", "virbr0", "vmnet8", "vboxnet0", "tun0", "tap0", "wg0",
          "tailscale0", "ztabc", "lxcbr0"}) {
        QTest::newRow(name) << QString::fromLatin1(name);
    }
}

void AddressRankingTest::whatProgramsMakeIsVirtual()
{
    QFETCH(QString, interface);
    InterfaceAddress address = on("", "192.168.1.7");
    address.interface = interface;
    QCOMPARE(rankOf(address), AddressRank::Virtual);
    address.interface = QStringLiteral("eth0");
    address.hasDevice = false;
    QCOMPARE(rankOf(address), AddressRank::Virtual);
}

void AddressRankingTest::aNameThatOnlyResemblesAVirtualOneIsReal()
{
    for (const char* name : {"br0", "enp0s31f6", "wlp2s0", "eth0", "bond0"}) {
        QCOMPARE(rankOf(on(name, "192.168.1.7")), AddressRank::PrivateIpv4);
    }
}

void AddressRankingTest::amongLinkLocalAddressesARealAdaptersIpv4ComesFirst()
{
    QCOMPARE(
        ranked(
            {virtualOn("veth1", "fe80::1"), virtualOn("veth1", "169.254.1.1"),
             on("eth0", "fe80::2"), on("eth0", "169.254.1.2")}),
        list({"169.254.1.2", "fe80::2", "169.254.1.1", "fe80::1"}));
}

void AddressRankingTest::loopbackIsForWantOfAnythingElse()
{
    QCOMPARE(ranked({loopback("::1"), loopback("127.0.0.1")}), list({"127.0.0.1", "::1"}));
    QCOMPARE(ranked({loopback("::1"), on("eth0", "fe80::2")}), list({"fe80::2"}));
    QCOMPARE(ranked({on("dummy0", "127.0.0.5"), on("eth0", "10.0.0.1")}), list({"10.0.0.1"}));
    QCOMPARE(ranked({}), QStringList());
}

void AddressRankingTest::whatIsOfNoUseIsLeftOut()
{
    InterfaceAddress down = on("eth0", "192.168.1.7");
    down.up = false;
    InterfaceAddress passing = on("eth1", "2001:db8::7");
    passing.passing = true;
    QCOMPARE(
        ranked(
            {down, passing, on("eth2", "0.0.0.0"), on("eth2", "::"), on("eth2", "224.0.0.1"),
             on("eth2", "239.255.255.255"), on("eth2", "ff02::fb")}),
        QStringList());
}

void AddressRankingTest::anAddressOnTwoInterfacesIsTakenOnce()
{
    const auto result = rankedAddresses(
        {virtualOn("docker0", "10.0.0.1"), on("eth0", "10.0.0.1"), on("eth1", "10.0.0.1")});
    QCOMPARE(result.size(), std::size_t{1});
    QCOMPARE(result.front().interface, QStringLiteral("eth0"));
}

void AddressRankingTest::addressesAreWrittenAsBrowsersTakeThem_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("port");
    QTest::addColumn<QString>("url");
    const auto row = [](const char* address, int port, const char* url) {
        QTest::newRow(url) << QString::fromLatin1(address) << port << QString::fromLatin1(url);
    };
    row("192.168.1.5", 47000, "https://192.168.1.5:47000/");
    row("192.168.1.5", 443, "https://192.168.1.5/");
    row("192.168.1.5", 80, "https://192.168.1.5:80/");
    row("fd00::5", 47000, "https://[fd00::5]:47000/");
    row("fd00::5", 443, "https://[fd00::5]/");
    row("::1", 65535, "https://[::1]:65535/");
}

void AddressRankingTest::addressesAreWrittenAsBrowsersTakeThem()
{
    QFETCH(QString, address);
    QFETCH(int, port);
    QTEST(urlFor(QHostAddress(address), static_cast<quint16>(port)), "url");
}

void AddressRankingTest::aHostsNameIsWrittenAsItIs()
{
    QCOMPARE(
        urlFor(QStringLiteral("desk.local"), 47000), QStringLiteral("https://desk.local:47000/"));
    QCOMPARE(urlFor(QStringLiteral("desk.local"), 443), QStringLiteral("https://desk.local/"));
}

WINGBELL_APPLESS_TEST(AddressRankingTest)
#include "AddressRankingTest.moc"
