#include "relay/net/Port.h"
#include "tests/TestProgram.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QUdpSocket>

using namespace wingbell;

namespace {

/// Of a test: the folder that has it as "ss" is the only one in which programs are looked for.
class FakeSs
{
public:
    explicit FakeSs(const QByteArray& script)
    {
        QFile file(m_folder.filePath(QStringLiteral("ss")));
        const bool isWritten =
            script.isEmpty() || (file.open(QIODevice::WriteOnly) && file.write(script) > 0 &&
                                 file.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
        Q_ASSERT(isWritten);
        qputenv("PATH", QFile::encodeName(m_folder.path()));
    }

    ~FakeSs() { qputenv("PATH", m_path); }

    FakeSs(const FakeSs&) = delete;
    FakeSs& operator=(const FakeSs&) = delete;

private:
    QTemporaryDir m_folder;
    QByteArray m_path = qgetenv("PATH");
};

QString ownName()
{
    constexpr int shortened = 15;
    return QCoreApplication::applicationName().left(shortened);
}

} // namespace

class PortHolderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theFirstProgramIsTaken_data();
    void theFirstProgramIsTaken();
    void theHolderOfAPortIsThisProgram();
    void theHolderOfATcpPortIsThisProgram();
    void aFreePortHasNoHolder();
    void aConnectionAloneHoldsNoTcpPort();
    void aConnectedUdpSocketHoldsItsPort();
    void withoutSsNoneIsTold();
    void ssIsWaitedForABoundedTime();
};

void PortHolderTest::theFirstProgramIsTaken_data()
{
    QTest::addColumn<QByteArray>("sockets");
    QTest::addColumn<QString>("name");
    const auto row = [](const char* users, const char* name) {
        QTest::newRow(users) << QByteArray("UNCONN 0 0 0.0.0.0:47000 0.0.0.0:* ") + users +
                                    QByteArray("\n")
                             << QString::fromUtf8(name);
    };
    row("users:((\"QLab\",pid=4711,fd=12))", "QLab");
    row("users:((\"sh\",pid=4711,fd=3),(\"sleep\",pid=4712,fd=3))", "sh");
    row("users:((\"a \"b\",(c\",pid=4711,fd=3))", "a \"b\",(c");
    row("users:((\"Bühne\",pid=4711,fd=3))", "Bühne");
    row("users:((\"a\",pid=4711,fd=3)) UNCONN 0 0 *:47000 *:* users:((\"b\",pid=4,fd=3))", "a");
    row("", "");
    row("users:((\"cut", "");
    row("users:((\"a\",pid=", "");
}

void PortHolderTest::theFirstProgramIsTaken()
{
    QFETCH(QByteArray, sockets);
    QFETCH(QString, name);
    const auto expected = name.isEmpty() ? std::nullopt : std::optional(PortHolder{name, 4711});
    QCOMPARE(firstHolder(sockets), expected);
}

void PortHolderTest::theHolderOfAPortIsThisProgram()
{
    for (const QHostAddress address :
         {QHostAddress::Any, QHostAddress::AnyIPv4, QHostAddress::LocalHostIPv6}) {
        QUdpSocket socket;
        QVERIFY(socket.bind(address, 0));
        const auto holder = portHolder(PortType::Udp, socket.localPort());
        QVERIFY(holder);
        QCOMPARE(holder->process, QCoreApplication::applicationPid());
        QCOMPARE(holder->name, ownName());
    }
}

void PortHolderTest::aFreePortHasNoHolder()
{
    QUdpSocket socket;
    QVERIFY(socket.bind(QHostAddress::Any, 0));
    const quint16 port = socket.localPort();
    QVERIFY(!portHolder(PortType::Tcp, port));
    socket.close();
    QVERIFY(!portHolder(PortType::Udp, port));
}

void PortHolderTest::theHolderOfATcpPortIsThisProgram()
{
    for (const QHostAddress address :
         {QHostAddress::Any, QHostAddress::AnyIPv4, QHostAddress::LocalHostIPv6}) {
        QTcpServer server;
        QVERIFY(server.listen(address, 0));
        const auto holder = portHolder(PortType::Tcp, server.serverPort());
        QVERIFY(holder);
        QCOMPARE(holder->process, QCoreApplication::applicationPid());
        QCOMPARE(holder->name, ownName());
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
    QVERIFY(!portHolder(PortType::Tcp, port));
    QVERIFY(!portHolder(PortType::Tcp, client.localPort()));
}

void PortHolderTest::aConnectedUdpSocketHoldsItsPort()
{
    QUdpSocket socket;
    QVERIFY(socket.bind(QHostAddress::LocalHost, 0));
    socket.connectToHost(QHostAddress::LocalHost, 9);
    QVERIFY(socket.waitForConnected());
    QVERIFY(portHolder(PortType::Udp, socket.localPort()));
}

void PortHolderTest::withoutSsNoneIsTold()
{
    QUdpSocket socket;
    QVERIFY(socket.bind(QHostAddress::LocalHost, 0));
    for (const char* script : {"", "#!/bin/sh\nexit 1\n", "no program"}) {
        const FakeSs ss(script);
        QVERIFY2(!portHolder(PortType::Udp, socket.localPort()), script);
    }
}

void PortHolderTest::ssIsWaitedForABoundedTime()
{
    const FakeSs ss("#!/bin/sh\nwhile :; do :; done\n");
    QElapsedTimer passed;
    passed.start();
    QVERIFY(!portHolder(PortType::Udp, 47000));
    QVERIFY2(passed.elapsed() < 20000, "it hangs");
}

WINGBELL_GUILESS_TEST(PortHolderTest)
#include "PortHolderTest.moc"
