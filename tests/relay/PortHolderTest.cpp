#include "relay/net/PortHolder.h"
#include "tests/TestProgram.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QUdpSocket>

using namespace wingbell;

namespace {

using Inodes = std::vector<quint64>;

constexpr QByteArrayView ipv4Table =
    "   sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout "
    "inode ref pointer drops            \n"
    "  324: 00000000:B798 00000000:0000 07 00000000:00000000 00:00000000 00000000     0        0 "
    "2097152001 2 0000000000000000 0        \n"
    " 1044: 0100007F:0035 00000000:B798 07 00000000:00000000 00:00000000 00000000   101        0 "
    "17654 2 0000000000000000 0         \n"
    " 1045: 0100007F:B798 00000000:0000 07 00000000:00000000 00:00000000 00000000  1000        0 "
    "17655 2 0000000000000000 0         \n";
constexpr QByteArrayView ipv6Table =
    "  sl  local_address                         remote_address                        st tx_queue "
    "rx_queue tr tm->when retrnsmt   uid  timeout inode ref pointer drops\n"
    "  324: 00000000000000000000000000000000:B798 00000000000000000000000000000000:0000 07 "
    "00000000:00000000 00:00000000 00000000     0        0 40 2 0000000000000000 0\n";
constexpr QByteArrayView tcpTable =
    "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout "
    "inode                                                     \n"
    "   0: 0100007F:B798 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        0 "
    "801 1 0000000000000000 100 0 0 10 0                       \n"
    "   1: 0100007F:B798 0100007F:8C1E 01 00000000:00000000 00:00000000 00000000     0        0 "
    "802 1 0000000000000000 20 4 30 10 -1                      \n"
    "   2: 0100007F:B798 0100007F:8C20 06 00000000:00000000 03:00000FA0 00000000     0        0 0 "
    "3 0000000000000000                                        \n"
    "   3: 00000000:0016 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        0 "
    "803 1 0000000000000000 100 0 0 10 0                       \n";

} // namespace

class PortHolderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theTableGivesTheInodesOfThePort();
    void onlyWhoeverWaitsForConnectionsHasATcpPort();
    void aBrokenTableGivesNothing_data();
    void aBrokenTableGivesNothing();
    void onlyALinkToASocketNamesOne();
    void theHolderOfAPortIsThisProgram();
    void theHolderOfATcpPortIsThisProgram();
    void aFreePortHasNoHolder();
    void aConnectionAloneHoldsNoTcpPort();
};

void PortHolderTest::theTableGivesTheInodesOfThePort()
{
    QCOMPARE(inodesAtPort(ipv4Table, 47000), (Inodes{2097152001, 17655}));
    QCOMPARE(inodesAtPort(ipv4Table, 53), (Inodes{17654}));
    QCOMPARE(inodesAtPort(ipv4Table, 47001), Inodes());
    QCOMPARE(inodesAtPort(ipv6Table, 47000), (Inodes{40}));
}

void PortHolderTest::onlyWhoeverWaitsForConnectionsHasATcpPort()
{
    QCOMPARE(listeningInodesAtPort(tcpTable, 47000), (Inodes{801}));
    QCOMPARE(listeningInodesAtPort(tcpTable, 22), (Inodes{803}));
    QCOMPARE(listeningInodesAtPort(tcpTable, 35870), Inodes());
}

void PortHolderTest::aBrokenTableGivesNothing_data()
{
    QTest::addColumn<QByteArray>("table");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("line cut off") << ipv4Table.toByteArray().left(200);
    QTest::newRow("no inode") << QByteArray("1: 0:B798 0:0 07 0:0 0:0 0 0 0 many");
    QTest::newRow("number and more") << QByteArray("1: 0:B798x 0:0 07 0:0 0:0 0 0 0 7");
    QTest::newRow("beyond all ports") << QByteArray("1: 0:1B798 0:0 07 0:0 0:0 0 0 0 7");
    QTest::newRow("no port") << QByteArray("1: 0: 0:0 07 0:0 0:0 0 0 0 7");
}

void PortHolderTest::aBrokenTableGivesNothing()
{
    QFETCH(QByteArray, table);
    QCOMPARE(inodesAtPort(table, 47000), Inodes());
    QCOMPARE(listeningInodesAtPort(table, 47000), Inodes());
}

void PortHolderTest::onlyALinkToASocketNamesOne()
{
    QCOMPARE(socketInode("socket:[4711]").value(), quint64{4711});
    for (const char* other :
         {"", "socket:", "socket:[", "socket:[]", "socket:[4711", "pipe:[4711]", "socket:[4711]x",
          "socket:[-1]", "socket:[99999999999999999999]"}) {
        QVERIFY2(!socketInode(other), other);
    }
}

void PortHolderTest::theHolderOfAPortIsThisProgram()
{
    for (const QHostAddress address :
         {QHostAddress::Any, QHostAddress::AnyIPv4, QHostAddress::LocalHostIPv6}) {
        QUdpSocket socket;
        QVERIFY(socket.bind(address, 0));
        const auto holder = udpPortHolder(socket.localPort());
        QVERIFY(holder);
        QCOMPARE(holder->process, QCoreApplication::applicationPid());
        QCOMPARE(holder->name, QStringLiteral("PortHolderTest"));
    }
}

void PortHolderTest::aFreePortHasNoHolder()
{
    QUdpSocket socket;
    QVERIFY(socket.bind(QHostAddress::Any, 0));
    const quint16 port = socket.localPort();
    QVERIFY(!tcpPortHolder(port));
    socket.close();
    QVERIFY(!udpPortHolder(port));
}

void PortHolderTest::theHolderOfATcpPortIsThisProgram()
{
    for (const QHostAddress address :
         {QHostAddress::Any, QHostAddress::AnyIPv4, QHostAddress::LocalHostIPv6}) {
        QTcpServer server;
        QVERIFY(server.listen(address, 0));
        const auto holder = tcpPortHolder(server.serverPort());
        QVERIFY(holder);
        QCOMPARE(holder->process, QCoreApplication::applicationPid());
        QCOMPARE(holder->name, QStringLiteral("PortHolderTest"));
    }
}

void PortHolderTest::aConnectionAloneHoldsNoTcpPort()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost, 0));
    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHost, server.serverPort());
    QVERIFY(client.waitForConnected());
    QVERIFY(server.waitForNewConnection());
    const quint16 port = server.serverPort();
    server.close();
    QVERIFY(!tcpPortHolder(port));
    QVERIFY(!tcpPortHolder(client.localPort()));
}

WINGBELL_GUILESS_TEST(PortHolderTest)
#include "PortHolderTest.moc"
