#include "relay/net/NetworkAddresses.h"
#include "tests/TestProgram.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

using namespace wingbell;

namespace {

QByteArray hexOf(const QHostAddress& address)
{
    const Q_IPV6ADDR bytes = address.toIPv6Address();
    return QByteArray(reinterpret_cast<const char*>(bytes.c), sizeof bytes).toHex();
}

} // namespace

class NetworkAddressesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void anAdapterHasADevice();
    void aBridgeHasTheDevicesItStandsOn();
    void interfacesOnOneAnotherEndTheSearch();
    void wirelessIsToldByItsRadio();
    void thisMachinesLoopbackIsRead();
    void withoutTheKernelsFoldersAllIsVirtual();
    void aPassingAddressIsMarked_data();
    void aPassingAddressIsMarked();

private:
    void make(const char* path)
    {
        QVERIFY(QDir(m_folder->path()).mkpath(QString::fromLatin1(path)));
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void NetworkAddressesTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
}

void NetworkAddressesTest::anAdapterHasADevice()
{
    make("eth0/device");
    make("docker0");
    const NetworkAddresses addresses(m_folder->path());
    QVERIFY(addresses.hasDevice(QStringLiteral("eth0")));
    QVERIFY(!addresses.hasDevice(QStringLiteral("docker0")));
    QVERIFY(!addresses.hasDevice(QStringLiteral("eth1")));
    QVERIFY(!addresses.hasDevice(QString()));
}

void NetworkAddressesTest::aBridgeHasTheDevicesItStandsOn()
{
    make("eth0/device");
    make("bond0/lower_eth0");
    make("bond0.7/lower_bond0");
    make("br0/lower_bond0.7");
    make("veth1");
    make("docker0/lower_veth1");
    const NetworkAddresses addresses(m_folder->path());
    QVERIFY(addresses.hasDevice(QStringLiteral("bond0")));
    QVERIFY(addresses.hasDevice(QStringLiteral("br0")));
    QVERIFY(!addresses.hasDevice(QStringLiteral("docker0")));
}

void NetworkAddressesTest::interfacesOnOneAnotherEndTheSearch()
{
    make("a/lower_b");
    make("b/lower_a");
    make("b/lower_b");
    QVERIFY(!NetworkAddresses(m_folder->path()).hasDevice(QStringLiteral("a")));
}

void NetworkAddressesTest::wirelessIsToldByItsRadio()
{
    make("wlan0/phy80211");
    make("wlan1/wireless");
    make("eth0/device");
    const NetworkAddresses addresses(m_folder->path());
    QVERIFY(addresses.isWireless(QStringLiteral("wlan0")));
    QVERIFY(addresses.isWireless(QStringLiteral("wlan1")));
    QVERIFY(!addresses.isWireless(QStringLiteral("eth0")));
}

void NetworkAddressesTest::thisMachinesLoopbackIsRead()
{
    const auto addresses = NetworkAddresses().read();
    const QHostAddress loopback(QHostAddress::LocalHost);
    const auto found =
        std::find_if(addresses.begin(), addresses.end(), [&loopback](const auto& entry) {
            return entry.address == loopback;
        });
    QVERIFY(found != addresses.end());
    QCOMPARE(found->interface, QStringLiteral("lo"));
    QVERIFY(found->up);
    QVERIFY(found->loopback);
    QVERIFY(!found->hasDevice);
    QVERIFY(!found->wireless);
    QVERIFY(!found->passing);
}

void NetworkAddressesTest::withoutTheKernelsFoldersAllIsVirtual()
{
    const QString nowhere = m_folder->filePath(QStringLiteral("nowhere"));
    const auto addresses = NetworkAddresses(nowhere, nowhere).read();
    QVERIFY(!addresses.empty());
    for (const InterfaceAddress& address : addresses) {
        QVERIFY(!address.hasDevice);
        QVERIFY(!address.passing);
    }
}

void NetworkAddressesTest::aPassingAddressIsMarked_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("passing");
    QTest::newRow("permanent") << QByteArray("02 40 00 80 eth0\n") << false;
    QTest::newRow("temporary") << QByteArray("02 40 00 01 eth0\n") << true;
    QTest::newRow("deprecated") << QByteArray("02 40 00 20 eth0\n") << true;
    QTest::newRow("both") << QByteArray("02 40 00 21 eth0\n") << true;
    QTest::newRow("tentative") << QByteArray("02 40 20 c0 eth0\n") << true;
    QTest::newRow("duplicate") << QByteArray("02 40 20 88 eth0\n") << true;
    QTest::newRow("without flags") << QByteArray("02 40 00\n") << false;
    QTest::newRow("flags no number") << QByteArray("02 40 00 xx eth0\n") << false;
}

void NetworkAddressesTest::aPassingAddressIsMarked()
{
    // Any address of this machine will do; the table says what it is.
    const auto addresses = NetworkAddresses().read();
    const auto six = std::find_if(addresses.begin(), addresses.end(), [](const auto& entry) {
        return entry.address.protocol() == QHostAddress::IPv6Protocol;
    });
    if (six == addresses.end()) {
        QSKIP("this machine has no IPv6 address");
    }
    QFETCH(QByteArray, line);
    QFETCH(bool, passing);
    QFile table(m_folder->filePath(QStringLiteral("if_inet6")));
    QVERIFY(table.open(QIODevice::WriteOnly));
    QVERIFY(table.write(hexOf(six->address) + ' ' + line) > 0);
    table.close();
    for (const auto& entry : NetworkAddresses(m_folder->path(), table.fileName()).read()) {
        QCOMPARE(entry.passing, passing && entry.address == six->address);
    }
}

WINGBELL_APPLESS_TEST(NetworkAddressesTest)
#include "NetworkAddressesTest.moc"
