#include "ServerUnderTest.h"
#include "base/FileDescriptor.h"
#include "model/ShowFile.h"
#include "relay/access/CertificateAuthority.h"
#include "relay/access/StateDirectory.h"
#include "relay/confinement/Landlock.h"
#include "relay/log/Messages.h"
#include "tests/TestProgram.h"
#include "tests/bus/MockService.h"
#include "tests/bus/PrivateBus.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QSslCertificate>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QUdpSocket>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <random>
#include <sched.h>
#include <sys/stat.h>
#include <tuple>

using namespace wingbell;
using End = ServerUnderTest::End;

namespace {

constexpr End cleanEnd{false, 0};
constexpr int maxStopTime = 1000; // milliseconds

const QString ipv4 = QStringLiteral("127.0.0.1");
const QString ipv6 = QStringLiteral("::1");
const QString say = QStringLiteral("/wingbell/say");
/// How the last of the first lines begins.
const QString lastOfFirst =
    QStringLiteral("The desk's own page, which is not for the crew: https://");

QString announcing(const QString& text, const QString& where, const QString& sender = ipv4)
{
    return QStringLiteral("Announcing \"%1\" on %2, from %3.").arg(text, where, sender);
}

/// A port that was free a moment ago for UDP and TCP, outside the range from which the system gives
/// ports to connections, as other tests make them meanwhile.
quint16 freePort()
{
    for (int attempt = 0; attempt < 1000; ++attempt) {
        const auto port = static_cast<quint16>(QRandomGenerator::global()->bounded(20000, 32000));
        QUdpSocket datagrams;
        QTcpServer connections;
        if (datagrams.bind(QHostAddress::Any, port, QAbstractSocket::DontShareAddress) &&
            connections.listen(QHostAddress::Any, port)) {
            return port;
        }
    }
    return 0;
}

QByteArray kernelText(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The bytes that arrived at `port` and have not been read yet; nullopt if the port is not open.
std::optional<qulonglong> bytesWaiting(quint16 port)
{
    const QByteArray ending = ':' + QByteArray::number(port, 16).rightJustified(4, '0').toUpper();
    for (const char* table : {"/proc/net/udp6", "/proc/net/udp"}) {
        for (const QByteArray& line : kernelText(QString::fromLatin1(table)).split('\n')) {
            const QList<QByteArray> columns = line.simplified().split(' ');
            if (columns.size() > 4 && columns.at(1).endsWith(ending)) {
                return columns.at(4).split(':').constLast().toULongLong(nullptr, 16);
            }
        }
    }
    return std::nullopt;
}

bool sendOsc(const QString& host, quint16 port, const QStringList& rest)
{
    QProcess perl;
    perl.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    perl.start(
        QStringLiteral(WINGBELL_PERL),
        QStringList{QStringLiteral(WINGBELL_SEND_OSC), host, QString::number(port)} + rest);
    return perl.waitForFinished(ServerUnderTest::timeout) &&
           perl.exitStatus() == QProcess::NormalExit && perl.exitCode() == 0;
}

bool sendMessage(quint16 port, const QStringList& message)
{
    return sendOsc(ipv4, port, QStringList(QStringLiteral("message")) + message);
}

bool sendText(quint16 port, const QString& text)
{
    return sendMessage(port, {say, QStringLiteral("s"), text});
}

bool sendBytes(quint16 port, const QByteArray& bytes)
{
    QUdpSocket socket;
    return socket.writeDatagram(bytes, QHostAddress::LocalHost, port) == bytes.size();
}

/// Another sender of this machine than all the others here.
const QString otherSender = QStringLiteral("127.0.0.2");

/// Sends an OSC message without arguments, or with one text, from `otherSender`.
bool sendAsOther(quint16 port, const QByteArray& address, const QByteArray& text = {})
{
    const auto padded = [](const QByteArray& bytes) {
        return bytes.leftJustified((bytes.size() / 4 + 1) * 4, '\0');
    };
    const QByteArray bytes = padded(address) + padded(text.isEmpty() ? "," : ",s") +
                             (text.isEmpty() ? QByteArray() : padded(text));
    QUdpSocket socket;
    return socket.bind(QHostAddress(otherSender)) &&
           socket.writeDatagram(bytes, QHostAddress::LocalHost, port) == bytes.size();
}

/// Starts a server with `show` and waits until it is on air.
bool goOnAir(ServerUnderTest& server, const QString& path)
{
    return server.start({path}) && server.linesThrough(lastOfFirst).size() >= 3;
}

/// The UDP port for the crew's audio that `server` has open.
std::optional<quint16> mediaPortOf(const ServerUnderTest& server)
{
    QSet<QByteArray> sockets;
    const QDir descriptors(QStringLiteral("/proc/%1/fd").arg(server.processId()));
    for (const QFileInfo& descriptor : descriptors.entryInfoList(QDir::System | QDir::Files)) {
        sockets.insert(QFile::encodeName(descriptor.symLinkTarget()).split('/').constLast());
    }
    for (const char* table : {"/proc/net/udp6", "/proc/net/udp"}) {
        for (const QByteArray& line : kernelText(QString::fromLatin1(table)).split('\n')) {
            const QList<QByteArray> columns = line.simplified().split(' ');
            if (columns.size() > 9 && sockets.contains("socket:[" + columns.at(9) + ']')) {
                const quint16 port = columns.at(1).split(':').constLast().toUShort(nullptr, 16);
                if (port >= 47100 && port <= 47109) {
                    return port;
                }
            }
        }
    }
    return std::nullopt;
}

const QString noRealTime = messageText(Message::NoRealTime);

/// The number of the server's thread that has this name; 0 if it has none.
pid_t threadOf(const ServerUnderTest& server, const QByteArray& name)
{
    const QDir threads(QStringLiteral("/proc/%1/task").arg(server.processId()));
    for (const QString& number : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        if (kernelText(threads.filePath(number + QStringLiteral("/comm"))) == name + '\n') {
            return number.toInt();
        }
    }
    return 0;
}

/// A named pipe, read and filled without waiting.
class NamedPipe
{
public:
    explicit NamedPipe(const QString& path)
        : m_path(QFile::encodeName(path))
    {
        if (::mkfifo(m_path.constData(), 0600) == 0) {
            m_reader =
                FileDescriptor(::open(m_path.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        }
    }

    void closeReader() { m_reader = FileDescriptor(); }

    /// Writes until nothing more fits.
    void fill() const
    {
        const FileDescriptor writer(::open(m_path.constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
        while (::write(writer.get(), ".", 1) == 1) {
        }
    }

    /// Reads until `text` came; all that came, whether it did or not.
    [[nodiscard]] QByteArray readThrough(const QByteArray& text) const
    {
        QByteArray all;
        std::array<char, 65536> bytes = {};
        pollfd waiting = {m_reader.get(), POLLIN, 0};
        while (!all.contains(text) && ::poll(&waiting, 1, ServerUnderTest::timeout) > 0) {
            const ssize_t count = ::read(m_reader.get(), bytes.data(), bytes.size());
            if (count <= 0) {
                break;
            }
            all.append(bytes.data(), count);
        }
        return all;
    }

private:
    QByteArray m_path;
    FileDescriptor m_reader;
};

} // namespace

class IntercomServerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void anythingButOneArgumentIsWrongUsage_data();
    void anythingButOneArgumentIsWrongUsage();
    void aShowThatWasNeverSavedIsToldWithWhatToDo();
    void aFileThatHoldsNoShowIsNamedWithTheReason_data();
    void aFileThatHoldsNoShowIsNamedWithTheReason();
    void aPortThatIsNoneIsRefused_data();
    void aPortThatIsNoneIsRefused();
    void aShowThatIsTooLargeIsRefused_data();
    void aShowThatIsTooLargeIsRefused();
    void whoHoldsThePortIsNamed_data();
    void whoHoldsThePortIsNamed();
    void whoHoldsThePortOfTheCrewsPageIsNamed();
    void aLaterServerTakesOverTheShowsPortAndTheMediaPort();
    void aServerThatHangsKeepsItsPortAndIsNamed();
    void aServerThatCannotBeAskedIsNamed();

    void theFirstLineMeansOnAir();
    void aShowOfNothingIsOnAirToo();
    void ipv4AndIpv6BothArrive();
    void anAnnouncementIsToldWithItsChannel_data();
    void anAnnouncementIsToldWithItsChannel();
    void whatIsRefusedIsToldWithTheReason_data();
    void whatIsRefusedIsToldWithTheReason();
    void aLongTextIsCutAndTheLineSaysSo();
    void aBundleIsHandledNowAndInOrder();
    void bundlesInsideBundlesAreBounded();
    void theLargestDatagramIsTaken();
    void malformedPacketsAreSurvived();
    void aFloodIsCountedAndNotEchoed();
    void atRestItSleepsUntilSomethingComes();
    void theCrewsPageAnswersWithTheFirstLine();
    void theCodeAndTheCertificateAreReadableByTheUserOnly();
    void theCodeStaysFromShowToShow();
    void whatOthersCouldReadIsReplacedAndTold();
    void theFingerprintIsToldBesideTheAddress();
    void theAuthorityIsOfferedToPhones();
    void aCertificateOfTheTheatresOwnIsUsed();
    void whereNothingCanBeKeptTheShowGoesOnAirAndSaysSo();
    void inASharedFolderTheCodeIsTheSameForUsersWithFoldersOfTheirOwn();
    void anUnusableSharedFolderIsToldAndTheUsersOwnIsUsed();
    void namesThatTheShowLacksAreToldAndLeftOut();
    void aProblemOfTheComputerIsToldAfterHowToJoin();
    void withoutASpeechProgramItSaysWhatIsMissing();
    void moreAnnouncementsThanCanWaitAreRefused();
    void everyThreadIsConfinedOnAir();
    void aKernelThatCannotConfineItIsToldAfterTheFirstLine();
    void whereTheKernelRefusesPriorityRealtimeKitIsAskedForBothThreads();
    void whereTheKernelGivesPriorityNothingIsAsked();
    void withoutRealTimePriorityThereIsOneLine_data();
    void withoutRealTimePriorityThereIsOneLine();
    void aRealtimeKitThatHangsDelaysNothing();
    void itsSpeechProgramIsConfinedToo();
    void noOtherProgramTakesThePlaceOfTheSpeechProgram();
    void oneSenderDoesNotKeepAnotherFromAnnouncing();
    void aSenderSilencesWhatItHasSaidAndNothingElse();

    void aStopSignalEndsItWithTheTimeOnAir_data();
    void aStopSignalEndsItWithTheTimeOnAir();
    void aTerminalThatIsClosedLeavesItOnAir();
    void aStopSignalRightAfterTheLaunchNeverHangs();
    void itStopsWhileItsOutputIsNotRead();
    void aReaderWhoComesBackGetsTheLines();
    void itStaysOnAirWhenItsOutputIsBroken();
    void itStaysOnAirWithoutAnyOutput();

private:
    [[nodiscard]] QString pathOf(const QString& name) const { return m_folder->filePath(name); }
    QString writeShow(const ShowFile& show) const;
    QString writeShow(qint64 port) const;

    std::unique_ptr<QTemporaryDir> m_folder;
    quint16 m_port = 0;
};

void IntercomServerTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    m_port = freePort();
    QVERIFY(m_port != 0);
}

QString IntercomServerTest::writeShow(const ShowFile& show) const
{
    const QString path = pathOf(QStringLiteral("show.json"));
    QFile file(path);
    const QByteArray document = encodeShow(show).value();
    return file.open(QIODevice::WriteOnly) && file.write(document) == document.size() ? path
                                                                                      : QString();
}

QString IntercomServerTest::writeShow(qint64 port) const
{
    ShowFile show;
    show.show = QStringLiteral("Hamlet");
    show.channels = QStringList{QStringLiteral("Stage"),   QStringLiteral("Green Room"),
                                QStringLiteral("A/B"),     QStringLiteral("100%"),
                                QStringLiteral("Bühne 🎭"), QStringLiteral("Two\nLines")};
    show.roles = {Role{QUuid::createUuid(), QStringLiteral("Caller"), {}, {}}};
    show.oscPort = port;
    return writeShow(show);
}

void IntercomServerTest::anythingButOneArgumentIsWrongUsage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("none") << QStringList();
    QTest::newRow("two") << QStringList{QStringLiteral("a"), QStringLiteral("b")};
}

void IntercomServerTest::anythingButOneArgumentIsWrongUsage()
{
    QFETCH(QStringList, arguments);
    ServerUnderTest server;
    QVERIFY(server.start(arguments));
    const End wrongUsage{false, 2};
    QCOMPARE(server.waitForEnd(), wrongUsage);
    QCOMPARE(server.errorText(), QStringLiteral("Usage: IntercomServer SHOW-FILE\n"));
    QCOMPARE(server.remainingLines(), QStringList());
}

void IntercomServerTest::aShowThatWasNeverSavedIsToldWithWhatToDo()
{
    for (const QString& name :
         {QStringLiteral("show.json"), QStringLiteral("no folder/show.json")}) {
        ServerUnderTest server;
        QVERIFY(server.start({pathOf(name)}));
        const End notOnAir{false, 1};
        QCOMPARE(server.waitForEnd(), notOnAir);
        QCOMPARE(
            server.errorText(),
            QStringLiteral("Cannot go on air: no show has been saved yet (\"%1\" does not exist): "
                           "press Save Show, then start again.\n")
                .arg(pathOf(name)));
    }
}

void IntercomServerTest::aFileThatHoldsNoShowIsNamedWithTheReason_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QString>("reason");
    QTest::newRow("no JSON") << QByteArray("Hamlet\n") << QStringLiteral("it is no JSON");
    QTest::newRow("no show") << QByteArray("{\"show\": 1}") << QStringLiteral("show");
}

void IntercomServerTest::aFileThatHoldsNoShowIsNamedWithTheReason()
{
    QFETCH(QByteArray, document);
    QFETCH(QString, reason);
    const QString path = pathOf(QStringLiteral("no\nshow.json"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(document), document.size());
    file.close();
    ServerUnderTest server;
    QVERIFY(server.start({path}));
    const End notOnAir{false, 1};
    QCOMPARE(server.waitForEnd(), notOnAir);
    const QString error = server.errorText();
    const QString expected = QStringLiteral("Cannot go on air: the show in \"%1\" cannot be read: ")
                                 .arg(pathOf(QStringLiteral("no show.json")));
    QVERIFY2(error.startsWith(expected), qPrintable(error));
    QVERIFY2(error.sliced(expected.size()).contains(reason), qPrintable(error));
    QVERIFY2(error.endsWith(QLatin1String(".\n")), qPrintable(error));
    QCOMPARE(error.count(QLatin1Char('\n')), 1);
    QCOMPARE(server.remainingLines(), QStringList());
}

void IntercomServerTest::aPortThatIsNoneIsRefused_data()
{
    QTest::addColumn<qint64>("port");
    for (const qint64 port : {qint64{0}, qint64{-1}, qint64{65536}, qint64{1} << 40}) {
        QTest::addRow("%lld", static_cast<long long>(port)) << port;
    }
}

void IntercomServerTest::aPortThatIsNoneIsRefused()
{
    QFETCH(qint64, port);
    ServerUnderTest server;
    QVERIFY(server.start({writeShow(port)}));
    const End notOnAir{false, 1};
    QCOMPARE(server.waitForEnd(), notOnAir);
    QCOMPARE(
        server.errorText(), QStringLiteral("Cannot go on air: the show's OSC port is %1; choose "
                                           "one from 1 to 65535 in the control window.\n")
                                .arg(port));
    QCOMPARE(server.remainingLines(), QStringList());
}

void IntercomServerTest::aShowThatIsTooLargeIsRefused_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("roles");
    QTest::addColumn<QString>("what");
    QTest::newRow("channels") << 1025 << 1 << QStringLiteral("1024 channels");
    QTest::newRow("roles") << 1 << 1025 << QStringLiteral("1024 roles");
}

void IntercomServerTest::aShowThatIsTooLargeIsRefused()
{
    QFETCH(const int, channels);
    QFETCH(const int, roles);
    QFETCH(const QString, what);
    ShowFile show;
    show.oscPort = m_port;
    for (int number = 0; number < channels; ++number) {
        show.channels.append(QString::number(number));
    }
    show.roles.fill(Role(), roles);
    ServerUnderTest server;
    QVERIFY(server.start({writeShow(show)}));
    QCOMPARE(server.waitForEnd(), (ServerUnderTest::End{false, 1}));
    QCOMPARE(
        server.errorText(),
        QStringLiteral("Cannot go on air: the show has more than %1.\n").arg(what));
}

void IntercomServerTest::whoHoldsThePortIsNamed_data()
{
    QTest::addColumn<QHostAddress>("address");
    QTest::newRow("both families") << QHostAddress(QHostAddress::Any);
    QTest::newRow("IPv4") << QHostAddress(QHostAddress::AnyIPv4);
    QTest::newRow("IPv6") << QHostAddress(QHostAddress::AnyIPv6);
    QTest::newRow("IPv4 on this machine only") << QHostAddress(QHostAddress::LocalHost);
    QTest::newRow("IPv6 on this machine only") << QHostAddress(QHostAddress::LocalHostIPv6);
}

void IntercomServerTest::whoHoldsThePortIsNamed()
{
    QFETCH(QHostAddress, address);
    QUdpSocket holder;
    QVERIFY(holder.bind(address, 0, QAbstractSocket::DontShareAddress));
    ServerUnderTest server;
    QVERIFY(server.start({writeShow(holder.localPort())}));
    const End notOnAir{false, 1};
    QCOMPARE(server.waitForEnd(), notOnAir);
    const QString ourName =
        QString::fromUtf8(kernelText(QStringLiteral("/proc/self/comm"))).trimmed();
    QCOMPARE(
        server.errorText(),
        QStringLiteral("Cannot go on air: UDP port %1 is in use by %2 (process %3); end that "
                       "program or choose another port in the control window.\n")
            .arg(
                QString::number(holder.localPort()), ourName,
                QString::number(QCoreApplication::applicationPid())));
    QCOMPARE(server.remainingLines(), QStringList());
}

void IntercomServerTest::whoHoldsThePortOfTheCrewsPageIsNamed()
{
    QTcpServer holder;
    QVERIFY(holder.listen(QHostAddress::Any, m_port));
    ServerUnderTest server;
    QVERIFY(server.start({writeShow(m_port)}));
    const End notOnAir{false, 1};
    QCOMPARE(server.waitForEnd(), notOnAir);
    const QString line = server.errorText();
    const QString begin = QStringLiteral("Cannot go on air: TCP port %1 is in use by ").arg(m_port);
    QVERIFY2(line.startsWith(begin), qPrintable(line));
    QVERIFY(line.contains(QString::number(QCoreApplication::applicationPid())));
    QCOMPARE(server.remainingLines(), QStringList());
}

void IntercomServerTest::aLaterServerTakesOverTheShowsPortAndTheMediaPort()
{
    const QString path = writeShow(m_port);
    auto earlier = std::make_unique<ServerUnderTest>();
    QVERIFY(goOnAir(*earlier, path));
    const auto mediaPort = mediaPortOf(*earlier);
    QVERIFY(mediaPort);
    // Twice: the second of them has itself taken over, and is confined.
    for (int round = 0; round < 2; ++round) {
        auto later = std::make_unique<ServerUnderTest>();
        QVERIFY(later->start({path}));
        const QStringList lines = later->linesThrough(lastOfFirst);
        QVERIFY2(lines.value(0).startsWith(QLatin1String("On air")), qPrintable(lines.join(u'\n')));
        QCOMPARE(
            lines.value(1),
            messageText(Message::TookOver, {QString::number(earlier->processId())}));
        const qint64 process = later->processId();
        QCOMPARE(earlier->waitForEnd(), cleanEnd);
        const QStringList last = earlier->remainingLines();
        QCOMPARE(last.size(), 2);
        QCOMPARE(last.at(0), messageText(Message::HandedOver, {QString::number(process)}));
        QVERIFY(last.at(1).startsWith(QLatin1String("Off air after ")));
        QCOMPARE(mediaPortOf(*later), mediaPort);
        earlier = std::move(later);
    }
    const QDir sockets(earlier->runtimeFolder() + QStringLiteral("/wingbell"));
    const QString name = QStringLiteral("port-%1").arg(m_port);
    QVERIFY(sockets.entryList(QDir::System).contains(name));
    earlier->signal(SIGTERM);
    QCOMPARE(earlier->waitForEnd(), cleanEnd);
    QVERIFY(!sockets.entryList(QDir::System).contains(name));
}

void IntercomServerTest::aServerThatHangsKeepsItsPortAndIsNamed()
{
    const QString path = writeShow(m_port);
    ServerUnderTest first;
    QVERIFY(goOnAir(first, path));
    first.signal(SIGSTOP);
    ServerUnderTest second;
    QVERIFY(second.start({path}));
    const End notOnAir{false, 1};
    QCOMPARE(second.waitForEnd(), notOnAir);
    const QString holder = QStringLiteral(" is in use by IntercomServer (process %1); ");
    QVERIFY(second.errorText().contains(holder.arg(first.processId())));
    QCOMPARE(second.remainingLines(), QStringList());
    first.signal(SIGCONT);
    QVERIFY(sendText(m_port, QStringLiteral("Still here")));
    QVERIFY(first.linesThrough(QStringLiteral("Still here")).size() == 1);
}

void IntercomServerTest::aServerThatCannotBeAskedIsNamed()
{
    const QString path = writeShow(m_port);
    ServerUnderTest first;
    QVERIFY(goOnAir(first, path));
    ServerUnderTest second;
    second.setRuntimeFolder(m_folder->path());
    QVERIFY(second.start({path}));
    const End notOnAir{false, 1};
    QCOMPARE(second.waitForEnd(), notOnAir);
    const QString holder = QStringLiteral(" is in use by IntercomServer (process %1); ");
    QVERIFY(second.errorText().contains(holder.arg(first.processId())));
    QCOMPARE(second.remainingLines(), QStringList());
    QVERIFY(first.isRunning());
}

void IntercomServerTest::theFirstLineMeansOnAir()
{
    ServerUnderTest server;
    QVERIFY(server.start({writeShow(m_port)}));
    const auto first = server.nextLine();
    QUdpSocket other;
    QVERIFY(!other.bind(QHostAddress::Any, m_port, QAbstractSocket::DontShareAddress));
    QCOMPARE(
        first.value(), QStringLiteral("On air with \"Hamlet\": 6 channels, 1 role, OSC on UDP "
                                      "port %1.")
                           .arg(m_port));
    QVERIFY(server.linesThrough(lastOfFirst).constLast().startsWith(lastOfFirst));
}

void IntercomServerTest::aShowOfNothingIsOnAirToo()
{
    ShowFile show;
    show.oscPort = m_port;
    ServerUnderTest server;
    QVERIFY(server.start({writeShow(show)}));
    QCOMPARE(
        server.nextLine().value(), QStringLiteral("On air with a show without a name: 0 channels, "
                                                  "0 roles, OSC on UDP port %1.")
                                       .arg(m_port));
    QVERIFY(sendText(m_port, QStringLiteral("Anybody?")));
    const QStringList lines = server.linesThrough(QStringLiteral("no channels"));
    QCOMPARE(
        lines.constLast(),
        QStringLiteral("Rejected a message from %1: the show has no channels.").arg(ipv4));
}

void IntercomServerTest::ipv4AndIpv6BothArrive()
{
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    for (const QString& host : {ipv4, ipv6}) {
        QVERIFY(sendOsc(
            host, m_port,
            {QStringLiteral("message"), say, QStringLiteral("s"), QStringLiteral("Go")}));
        QCOMPARE(
            server.nextLine().value(),
            announcing(QStringLiteral("Go"), QStringLiteral("every channel"), host));
    }
}

void IntercomServerTest::anAnnouncementIsToldWithItsChannel_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    const QString go = QStringLiteral("Go");
    const auto row = [&go](const QString& name, const QString& channel) {
        QTest::newRow(qPrintable(name))
            << QString(say + QLatin1Char('/') + name) << go
            << announcing(go, QStringLiteral("channel \"%1\"").arg(channel));
    };
    row(QStringLiteral("Stage"), QStringLiteral("Stage"));
    row(QStringLiteral("Green Room"), QStringLiteral("Green Room"));
    row(QStringLiteral("Green%20Room"), QStringLiteral("Green Room"));
    row(QStringLiteral("A/B"), QStringLiteral("A/B"));
    row(QStringLiteral("100%"), QStringLiteral("100%"));
    row(QStringLiteral("Bühne 🎭"), QStringLiteral("Bühne 🎭"));
    row(QStringLiteral("Two%0ALines"), QStringLiteral("Two Lines"));
    QTest::newRow("text of several lines")
        << say << QStringLiteral("Places,\nplease\r\n\x1B[2J")
        << announcing(QStringLiteral("Places, please  �[2J"), QStringLiteral("every channel"));
    QTest::newRow("text like a placeholder")
        << say << QStringLiteral("%3 %1 %L2")
        << announcing(QStringLiteral("%3 %1 %L2"), QStringLiteral("every channel"));
}

void IntercomServerTest::anAnnouncementIsToldWithItsChannel()
{
    QFETCH(QString, address);
    QFETCH(QString, text);
    QFETCH(QString, expected);
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    QVERIFY(sendMessage(m_port, {address, QStringLiteral("s"), text}));
    QCOMPARE(server.nextLine().value(), expected);
}

void IntercomServerTest::whatIsRefusedIsToldWithTheReason_data()
{
    QTest::addColumn<QStringList>("message");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const QStringList& message, const QString& reason) {
        QTest::newRow(name) << message << reason;
    };
    const QString text = QStringLiteral("s");
    const QString go = QStringLiteral("Go");
    row("no argument", {say}, QStringLiteral("it has no text argument"));
    row("a number", {say, QStringLiteral("i"), QStringLiteral("7")},
        QStringLiteral("its argument is not a string"));
    row("a blob", {say, QStringLiteral("b"), go}, QStringLiteral("its argument is not a string"));
    row("two texts", {say, QStringLiteral("ss"), go, go},
        QStringLiteral("it has 2 arguments instead of one text"));
    row("empty", {say, text, QString()}, QStringLiteral("its text is blank"));
    row("blank", {say, text, QStringLiteral(" \n\t ")}, QStringLiteral("its text is blank"));
    row("unknown channel", {say + QStringLiteral("/stage"), text, go},
        QStringLiteral("the show has no channel \"stage\""));
    row("no channel", {say + QStringLiteral("/"), text, go},
        QStringLiteral("its address ends before the name of a channel"));
    row("unknown address", {QStringLiteral("/cue/\n1"), text, go},
        QStringLiteral("\"/cue/ 1\" is no address of this desk"));
}

void IntercomServerTest::whatIsRefusedIsToldWithTheReason()
{
    QFETCH(QStringList, message);
    QFETCH(QString, reason);
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    QVERIFY(sendMessage(m_port, message));
    QVERIFY(sendText(m_port, QStringLiteral("The end")));
    const QStringList expected = {
        QStringLiteral("Rejected a message from %1: %2.").arg(ipv4, reason),
        announcing(QStringLiteral("The end"), QStringLiteral("every channel"))};
    QCOMPARE(server.linesThrough(QStringLiteral("The end")), expected);
}

void IntercomServerTest::aLongTextIsCutAndTheLineSaysSo()
{
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    const QString kept = QStringLiteral("🎭").repeated(500);
    QVERIFY(sendText(m_port, kept + QStringLiteral("!")));
    QCOMPARE(
        server.nextLine().value(),
        QStringLiteral("Announcing \"%1\" (cut to 500 characters) on every channel, from %2.")
            .arg(kept, ipv4));
}

void IntercomServerTest::aBundleIsHandledNowAndInOrder()
{
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    QVERIFY(sendOsc(
        ipv4, m_port,
        {QStringLiteral("bundle"), say, QStringLiteral("one"), QStringLiteral("/none"),
         QStringLiteral("two"), say + QStringLiteral("/Stage"), QStringLiteral("three")}));
    const QStringList lines = server.linesThrough(QStringLiteral("three"));
    QCOMPARE(lines.size(), 3);
    QCOMPARE(lines.at(0), announcing(QStringLiteral("one"), QStringLiteral("every channel")));
    QVERIFY(lines.at(1).startsWith(QLatin1String("Rejected a message from 127.0.0.1: \"/none\"")));
    QCOMPARE(lines.at(2), announcing(QStringLiteral("three"), QStringLiteral("channel \"Stage\"")));
}

void IntercomServerTest::bundlesInsideBundlesAreBounded()
{
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    for (const char* depth : {"8", "9", "1000"}) {
        QVERIFY(sendOsc(
            ipv4, m_port,
            {QStringLiteral("nested"), QString::fromLatin1(depth), say, QStringLiteral("deep")}));
    }
    const QString refused = QStringLiteral(
        "Rejected a packet from 127.0.0.1: its bundles are nested more than 8 deep.");
    QCOMPARE(
        server.nextLine().value(),
        announcing(QStringLiteral("deep"), QStringLiteral("every channel")));
    QCOMPARE(server.nextLine().value(), refused);
    QCOMPARE(server.nextLine().value(), refused);
}

void IntercomServerTest::theLargestDatagramIsTaken()
{
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    constexpr qsizetype largest = qsizetype{65507} / 4 * 4;
    const QByteArray head("/wingbell/say\0\0\0,s\0\0", 20);
    const QByteArray packet = head + QByteArray(largest - head.size() - 1, 'x') + '\0';
    QVERIFY(sendBytes(m_port, packet));
    const QString line = server.nextLine().value();
    QVERIFY2(line.contains(QLatin1String("xxx\" (cut to 500 characters) on ")), qPrintable(line));
}

void IntercomServerTest::malformedPacketsAreSurvived()
{
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    const QByteArray whole("/wingbell/say\0\0\0,s\0\0Go!\0", 24);
    std::mt19937 random(47000); // NOLINT(bugprone-random-generator-seed): the same every time
    for (int round = 0; round < 2000; ++round) {
        QByteArray packet(static_cast<qsizetype>(random() % 64), '\0');
        std::generate(packet.begin(), packet.end(), [&random] { return char(random() & 0xFFU); });
        if (round % 4 == 0) {
            packet = whole.left(round / 4 % whole.size()); // every length but the whole
        } else if (round % 4 == 1) {
            packet = "#bundle" + packet;
        }
        QVERIFY(sendBytes(m_port, packet));
        if (round % 50 == 0) {
            QTRY_COMPARE(bytesWaiting(m_port), 0);
        }
    }
    QTRY_COMPARE(bytesWaiting(m_port), 0);
    QVERIFY(sendText(m_port, QStringLiteral("Still here")));
    const QStringList lines = server.linesThrough(QStringLiteral("Still here"));
    QCOMPARE(
        lines.constLast(),
        announcing(QStringLiteral("Still here"), QStringLiteral("every channel")));
    for (const QString& line : lines.first(lines.size() - 1)) {
        QVERIFY2(line.startsWith(QLatin1String("Rejected ")), qPrintable(line));
    }
    server.signal(SIGTERM);
    QCOMPARE(server.waitForEnd(), cleanEnd);
    QCOMPARE(server.errorText(), QString());
}

void IntercomServerTest::aFloodIsCountedAndNotEchoed()
{
    constexpr int sent = 150; // fits into what the kernel keeps, so that none is lost
    const QString unknown = QStringLiteral("/cue/1");
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    QElapsedTimer timer;
    timer.start();
    QVERIFY(sendOsc(
        ipv4, m_port,
        {QStringLiteral("repeat"), QString::number(sent), unknown, QStringLiteral("Flood")}));
    QVERIFY(sendMessage(m_port, {say}));

    const QRegularExpression number(
        QStringLiteral("^Rejected (\\d+) more messages?: unknown address\\.$"));
    int echoed = 0;
    int told = 0;
    int numbers = 0;
    int others = 0;
    while (echoed + told < sent) {
        const QString line = server.nextLine().value();
        const auto match = number.match(line);
        if (match.hasMatch()) {
            told += match.captured(1).toInt();
            ++numbers;
        } else if (line.contains(QLatin1String("it has no text argument"))) {
            ++others;
        } else {
            QVERIFY2(line.contains(QStringLiteral("\"/cue/1\" is no address")), qPrintable(line));
            ++echoed;
        }
    }
    const auto seconds = static_cast<int>(timer.elapsed() / 1000 + 1);
    QCOMPARE(echoed + told, sent);
    QVERIFY2(echoed >= 3 && echoed <= 3 * seconds, qPrintable(QString::number(echoed)));
    QVERIFY2(numbers >= 1 && numbers <= seconds, qPrintable(QString::number(numbers)));
    QCOMPARE(others, 1);

    // What is still held back is told before the end.
    QVERIFY(sendOsc(
        ipv4, m_port,
        {QStringLiteral("repeat"), QStringLiteral("5"), QStringLiteral("/none"),
         QStringLiteral("Flood")}));
    QTRY_COMPARE(bytesWaiting(m_port), 0);
    server.signal(SIGTERM);
    QCOMPARE(server.waitForEnd(), cleanEnd);
    QVERIFY(server.remainingLines()
                .join(QLatin1Char('\n'))
                .contains(QRegularExpression(
                    QStringLiteral("Rejected \\d+ more messages?: unknown address\\.\n"
                                   "Off air after "))));
}

void IntercomServerTest::atRestItSleepsUntilSomethingComes()
{
#ifdef __x86_64__
    // What the kernel says of a waiting ppoll(): its number and its arguments, the third of which
    // points to how long to wait at most; null is without end.
    const QRegularExpression waiting(QStringLiteral("^271 \\S+ \\S+ 0x0 "));
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    const QString path = QStringLiteral("/proc/%1/syscall").arg(server.processId());
    const auto sleeps = [&path, &waiting] {
        return waiting.match(QString::fromLatin1(kernelText(path))).hasMatch();
    };
    if (kernelText(path).isEmpty()) {
        QSKIP("This kernel does not tell what a program waits for.");
    }
    QTRY_VERIFY(sleeps());
    QVERIFY(sendOsc(
        ipv4, m_port,
        {QStringLiteral("repeat"), QStringLiteral("9"), say, QStringLiteral("Flood")}));
    QVERIFY(!server.linesThrough(QStringLiteral(" more ")).isEmpty());
    QTRY_VERIFY_WITH_TIMEOUT(sleeps(), ServerUnderTest::timeout); // once all of it is spoken
#else
    QSKIP("How the kernel tells what a program waits for differs between machines.");
#endif
}

void IntercomServerTest::theCrewsPageAnswersWithTheFirstLine()
{
    ServerUnderTest server;
    QVERIFY(server.start({writeShow(m_port)}));
    QVERIFY(server.nextLine().value().startsWith(QLatin1String("On air ")));
    QTcpSocket browser;
    browser.connectToHost(QHostAddress::LocalHost, m_port);
    QVERIFY(browser.waitForConnected(ServerUnderTest::timeout));
    // Without TLS there is only one page, which explains how to join.
    browser.write("GET /api/roles HTTP/1.1\r\nHost: localhost\r\n\r\n");
    QVERIFY(browser.waitForDisconnected(ServerUnderTest::timeout));
    const QByteArray answer = browser.readAll();
    QVERIFY(answer.startsWith("HTTP/1.1 200"));
    QVERIFY(answer.contains("certificate"));
}

void IntercomServerTest::theCodeAndTheCertificateAreReadableByTheUserOnly()
{
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    const QDir folder(server.stateFolder() + QStringLiteral("/wingbell"));
    const auto ours = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
    for (const char* name : {"crew-code", "card-secret", "certificate.pem", "authority.pem"}) {
        const QString path = folder.filePath(QString::fromLatin1(name));
        QVERIFY2(QFile::exists(path), qPrintable(path));
        QCOMPARE(QFile::permissions(path), ours);
    }
    QCOMPARE(QFile::permissions(folder.path()), ours | QFile::ExeOwner | QFile::ExeUser);
}

void IntercomServerTest::theCodeStaysFromShowToShow()
{
    const QRegularExpression code(QStringLiteral("with the code (\\d{6})\\."));
    QStringList codes;
    for (int show = 0; show < 2; ++show) {
        ServerUnderTest server;
        QVERIFY(server.start({writeShow(m_port)}));
        const QString lines = server.linesThrough(lastOfFirst).join(QLatin1Char('\n'));
        codes.append(code.match(lines).captured(1));
        server.signal(SIGTERM);
        QCOMPARE(server.waitForEnd(), cleanEnd);
    }
    QCOMPARE(codes.at(0).size(), 6);
    QCOMPARE(codes.at(0), codes.at(1));
}

void IntercomServerTest::whatOthersCouldReadIsReplacedAndTold()
{
    const QString folder = pathOf(QStringLiteral("state"));
    const auto linesOfAShow = [this, &folder] {
        ServerUnderTest server;
        server.setStateFolder(folder);
        const bool started = server.start({writeShow(m_port)});
        const QStringList lines = started ? server.linesThrough(lastOfFirst) : QStringList();
        server.signal(SIGTERM);
        return server.waitForEnd() == cleanEnd ? lines : QStringList();
    };
    const QString newCode = QStringLiteral("A new crew code was made: ");
    const QString newCertificate = QStringLiteral(
        "Phones that do not trust this desk's authority will warn about its new certificate: ");
    const QString newCards =
        QStringLiteral("Cards that were printed before do not open the show any more: ");
    const QString newAuthority = QStringLiteral(
        "This desk has a new authority, and phones that trusted the one before will warn: ");
    QVERIFY(linesOfAShow().filter(newCode).isEmpty());
    for (const char* name : {"crew-code", "card-secret", "certificate.pem", "authority.pem"}) {
        const QString path = folder + QStringLiteral("/wingbell/") + QString::fromLatin1(name);
        QVERIFY(
            QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup));
    }
    const QStringList lines = linesOfAShow();
    for (const QString& begin : {newCode, newCards, newAuthority, newCertificate}) {
        const QStringList told = lines.filter(begin);
        QCOMPARE(told.size(), 1);
        QVERIFY2(
            told.constFirst().endsWith(QLatin1String(": other users could read it.")),
            qPrintable(told.constFirst()));
    }
    QVERIFY(linesOfAShow().filter(QStringLiteral("could read")).isEmpty());
}

void IntercomServerTest::theFingerprintIsToldBesideTheAddress()
{
    ServerUnderTest server;
    QVERIFY(server.start({writeShow(m_port)}));
    const QString lines = server.linesThrough(lastOfFirst).join(QLatin1Char('\n'));
    QFile file(server.stateFolder() + QStringLiteral("/wingbell/certificate.pem"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const auto certificate = Certificate::fromPem(file.readAll());
    QVERIFY(certificate);
    QVERIFY(certificate->fingerprint().contains(
        QRegularExpression(QStringLiteral("^([0-9A-F]{2}:){31}[0-9A-F]{2}$"))));
    QVERIFY2(
        lines.contains(
            QStringLiteral("\nThe certificate's SHA-256 fingerprint, to compare when a browser "
                           "warns: %1\n")
                .arg(certificate->fingerprint())),
        qPrintable(lines));
}

void IntercomServerTest::theAuthorityIsOfferedToPhones()
{
    ServerUnderTest server;
    QVERIFY(server.start({writeShow(m_port)}));
    const QString lines = server.linesThrough(lastOfFirst).join(QLatin1Char('\n'));
    QFile file(server.stateFolder() + QStringLiteral("/wingbell/authority.pem"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const auto authority = CertificateAuthority::fromPem(file.readAll());
    QVERIFY(authority);
    QVERIFY2(
        lines.contains(QRegularExpression(
            QStringLiteral("\nHow to avoid the warning: https://[^ ]+/help \\(the authority's "
                           "SHA-256 fingerprint: %1\\)\n")
                .arg(authority->fingerprint()))),
        qPrintable(lines));
    for (const auto& [path, type, bytes] :
         {std::tuple("/authority.crt", "application/x-x509-ca-cert", authority->der()),
          std::tuple(
              "/authority.mobileconfig", "application/x-apple-aspen-config",
              authority->appleProfile())}) {
        QTcpSocket browser;
        browser.connectToHost(QHostAddress::LocalHost, m_port);
        QVERIFY(browser.waitForConnected(ServerUnderTest::timeout));
        browser.write(QByteArray("GET ") + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
        QVERIFY(browser.waitForDisconnected(ServerUnderTest::timeout));
        const QByteArray response = browser.readAll();
        QVERIFY(response.startsWith("HTTP/1.1 200"));
        QVERIFY(response.contains(QByteArray("Content-Type: ").append(type).append("\r\n")));
        QVERIFY(response.endsWith(bytes));
    }
}

void IntercomServerTest::aCertificateOfTheTheatresOwnIsUsed()
{
    const QString place = pathOf(QStringLiteral("theatre"));
    const StateDirectory folder(place + QStringLiteral("/wingbell"));
    const KeyHandle key(EVP_RSA_gen(2048));
    const auto now = std::chrono::system_clock::now();
    const X509Handle made = signedCertificate(
        {"theatre",
         now - std::chrono::hours(1),
         now + std::chrono::days(30),
         {{NID_subject_alt_name, "DNS:intercom.example.org"}}},
        *key, nullptr, *key);
    const QByteArray pem = pemText(*key, *made).value();
    QVERIFY(folder.write(QStringLiteral("theatre-key.pem"), pem));
    QVERIFY(folder.write(QStringLiteral("theatre-certificate.pem"), pem));
    ServerUnderTest server;
    server.setStateFolder(place);
    QVERIFY(server.start({writeShow(m_port)}));
    const QString lines = server.linesThrough(lastOfFirst).join(QLatin1Char('\n'));
    QVERIFY2(
        lines.contains(QStringLiteral("Using the theatre's own certificate")), qPrintable(lines));
    QVERIFY(lines.contains(
        QStringLiteral("The crew join at https://intercom.example.org:%1/ ").arg(m_port)));
    QVERIFY(!lines.contains(QStringLiteral("How to avoid the warning")));
    QSslSocket browser;
    browser.setPeerVerifyMode(QSslSocket::QueryPeer);
    browser.connectToHostEncrypted(ipv4, m_port);
    QVERIFY2(browser.waitForEncrypted(ServerUnderTest::timeout), qPrintable(browser.errorString()));
    QCOMPARE(browser.peerCertificate().toDer(), derOf(*made));
    browser.write("POST /api/leave HTTP/1.1\r\nHost: intercom.example.org\r\n"
                  "Content-Length: 15\r\n\r\n{\"session\":\"x\"}");
    QVERIFY(browser.waitForReadyRead(ServerUnderTest::timeout));
    QVERIFY(browser.readAll().startsWith("HTTP/1.1 204"));
}

void IntercomServerTest::whereNothingCanBeKeptTheShowGoesOnAirAndSaysSo()
{
    const QString file = pathOf(QStringLiteral("a file"));
    QVERIFY(QFile(file).open(QIODevice::WriteOnly));
    ServerUnderTest server;
    server.setStateFolder(file);
    QVERIFY(server.start({writeShow(m_port)}));
    const QStringList lines = server.linesThrough(lastOfFirst);
    QVERIFY2(lines.constFirst().startsWith(QLatin1String("On air")), qPrintable(lines.join(u'\n')));
    for (const char* told :
         {"The crew code could not be saved, so the next start will make a new one: ",
          "The secret of the join cards could not be saved, so the next start will make a new "
          "one: ",
          "The certificate could not be saved, so phones will warn again after the next start: "}) {
        QVERIFY2(lines.filter(QLatin1String(told)).size() == 1, told);
    }
}

void IntercomServerTest::inASharedFolderTheCodeIsTheSameForUsersWithFoldersOfTheirOwn()
{
    if (::geteuid() != 0) {
        QSKIP("only the administrator can make a folder for all users");
    }
    const QString shared = pathOf(QStringLiteral("shared"));
    QVERIFY(QDir().mkpath(shared));
    QStringList codes;
    for (const char* own : {"state of one", "state of another"}) {
        ServerUnderTest server;
        server.setStateFolder(pathOf(QString::fromLatin1(own)));
        server.setSharedFolder(shared);
        QVERIFY(server.start({writeShow(m_port)}));
        const QString lines = server.linesThrough(lastOfFirst).join(QLatin1Char('\n'));
        static const QRegularExpression code(QStringLiteral("with the code (\\d{6})"));
        codes.append(code.match(lines).captured(1));
        QVERIFY2(!lines.contains(QStringLiteral("saved")), qPrintable(lines));
        QVERIFY(!QFileInfo::exists(server.stateFolder()));
        server.signal(SIGTERM);
        QCOMPARE(server.waitForEnd(), cleanEnd);
    }
    QCOMPARE(codes.at(0).size(), 6);
    QCOMPARE(codes.at(0), codes.at(1));
}

void IntercomServerTest::anUnusableSharedFolderIsToldAndTheUsersOwnIsUsed()
{
    const QString shared = pathOf(QStringLiteral("link"));
    QVERIFY(QFile::link(pathOf(QString()), shared));
    ServerUnderTest server;
    server.setStateFolder(pathOf(QStringLiteral("own")));
    server.setSharedFolder(shared);
    QVERIFY(server.start({writeShow(m_port)}));
    const QStringList lines = server.linesThrough(lastOfFirst);
    QVERIFY2(
        lines.contains(messageText(
            Message::SharedStateUnused, {shared, QStringLiteral("it is a symbolic link")})),
        qPrintable(lines.join(u'\n')));
    QVERIFY(QFileInfo::exists(server.stateFolder() + QStringLiteral("/wingbell/crew-code")));
}

void IntercomServerTest::namesThatTheShowLacksAreToldAndLeftOut()
{
    ShowFile show;
    show.oscPort = m_port;
    show.channels = QStringList(QStringLiteral("Main"));
    const QStringList lost(QStringLiteral("Roof"));
    show.roles = {Role{QUuid::createUuid(), QStringLiteral("Fly"), lost, {}}};
    ServerUnderTest server;
    QVERIFY(server.start({writeShow(show)}));
    QVERIFY(server.linesThrough(lastOfFirst)
                .contains(QStringLiteral("Ignored an unknown channel: the role \"Fly\" names "
                                         "\"Roof\", which the show does not have.")));
}

void IntercomServerTest::aProblemOfTheComputerIsToldAfterHowToJoin()
{
    const QDir battery(pathOf(QStringLiteral("sys/class/power_supply/BAT0")));
    QVERIFY(QDir().mkpath(battery.path()));
    for (const auto& [name, value] :
         {std::pair("type", "Battery"), {"status", "Discharging"}, {"capacity", "12"}}) {
        QFile file(battery.filePath(QString::fromLatin1(name)));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(value) > 0);
    }
    ServerUnderTest server;
    server.setSystemRoot(m_folder->path());
    QVERIFY(goOnAir(server, writeShow(m_port)));
    QCOMPARE(
        server.nextLine(), std::optional(messageText(Message::LowBattery, {QStringLiteral("12")})));
}

void IntercomServerTest::withoutASpeechProgramItSaysWhatIsMissing()
{
    ServerUnderTest server;
    server.setPath(pathOf(QStringLiteral("nothing")));
    QVERIFY(goOnAir(server, writeShow(m_port)));
    QVERIFY(sendText(m_port, QStringLiteral("Anybody?")));
    QCOMPARE(
        server.linesThrough(QStringLiteral("Could not")).constLast(),
        QStringLiteral("Could not speak \"Anybody?\": espeak-ng is not installed."));
}

void IntercomServerTest::moreAnnouncementsThanCanWaitAreRefused()
{
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    const QString text = QStringLiteral("Places please.");
    QVERIFY(sendOsc(ipv4, m_port, {QStringLiteral("repeat"), QStringLiteral("12"), say, text}));
    QVERIFY(server.linesThrough(QStringLiteral("8 of its announcements are already waiting"))
                .constLast()
                .startsWith(QLatin1String("Rejected a message from 127.0.0.1: ")));
    QElapsedTimer timer;
    timer.start();
    server.signal(SIGTERM);
    QCOMPARE(server.waitForEnd(), cleanEnd);
    QVERIFY2(timer.elapsed() < maxStopTime, qPrintable(QString::number(timer.elapsed())));
}

void IntercomServerTest::everyThreadIsConfinedOnAir()
{
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    const QDir threads(QStringLiteral("/proc/%1/task").arg(server.processId()));
    const QStringList names = threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    QVERIFY(names.size() > 1);
    for (const QString& name : names) {
        const QByteArray status = kernelText(threads.filePath(name + QStringLiteral("/status")));
        QVERIFY2(status.contains("\nNoNewPrivs:\t1\n"), status.constData());
        QVERIFY2(status.contains("\nSeccomp:\t2\n"), status.constData());
    }
}

void IntercomServerTest::aKernelThatCannotConfineItIsToldAfterTheFirstLine()
{
    ServerUnderTest server;
    server.setWithoutLandlock();
    QVERIFY(server.start({writeShow(m_port)}));
    const QStringList lines = server.linesThrough(lastOfFirst);
    QVERIFY2(lines.constFirst().startsWith(QLatin1String("On air")), qPrintable(lines.join(u'\n')));
    QCOMPARE(
        lines.value(1), QStringLiteral("This computer's kernel cannot confine the server (no "
                                       "Landlock); everything else works."));
    server.signal(SIGTERM);
    QCOMPARE(server.waitForEnd(), cleanEnd);
}

void IntercomServerTest::whereTheKernelRefusesPriorityRealtimeKitIsAskedForBothThreads()
{
    const PrivateBus bus;
    MockService service(bus, QStringLiteral("realtime-kit"));
    QVERIFY(service.isRunning());
    ServerUnderTest server;
    server.setWithoutPriority(bus.address());
    QVERIFY(goOnAir(server, writeShow(m_port)));
    const auto asked = [&](const char* thread, int priority) {
        return QStringLiteral("org.freedesktop.RealtimeKit1.MakeThreadRealtimeWithPID(%1, %2, %3)")
            .arg(server.processId())
            .arg(threadOf(server, thread))
            .arg(priority);
    };
    QTRY_VERIFY(service.log().contains(asked("mixer", 10)));
    QTRY_VERIFY(service.log().contains(asked("network", 9)));
    QTRY_VERIFY(service.log().contains(QStringLiteral("caller left"))); // it is not needed any more
    QCOMPARE(service.finish().size(), 5);
    server.signal(SIGTERM);
    QCOMPARE(server.waitForEnd(), cleanEnd);
    QVERIFY(!server.remainingLines().contains(noRealTime));
}

void IntercomServerTest::whereTheKernelGivesPriorityNothingIsAsked()
{
    const PrivateBus bus;
    MockService service(bus, QStringLiteral("realtime-kit"));
    QVERIFY(service.isRunning());
    ServerUnderTest server;
    server.setSystemBus(bus.address());
    QVERIFY(goOnAir(server, writeShow(m_port)));
    if (::sched_getscheduler(threadOf(server, "mixer")) != (SCHED_RR | SCHED_RESET_ON_FORK)) {
        QSKIP("This user may not have it.");
    }
    QCOMPARE(::sched_getscheduler(threadOf(server, "network")), SCHED_RR | SCHED_RESET_ON_FORK);
    QVERIFY(sendText(m_port, QStringLiteral("Standby")));
    QVERIFY(!server.linesThrough(QStringLiteral("Announcing")).contains(noRealTime));
    QCOMPARE(service.finish(), QStringList());
}

void IntercomServerTest::withoutRealTimePriorityThereIsOneLine_data()
{
    QTest::addColumn<QString>("behaviour");
    QTest::newRow("RealtimeKit refuses") << QStringLiteral("refuse");
    QTest::newRow("RealtimeKit refuses a thread") << QStringLiteral("refuse-priority");
    QTest::newRow("no RealtimeKit") << QString();
    QTest::newRow("no bus") << QStringLiteral("no bus");
}

void IntercomServerTest::withoutRealTimePriorityThereIsOneLine()
{
    QFETCH(QString, behaviour);
    PrivateBus bus;
    std::optional<MockService> service;
    if (behaviour == QLatin1String("no bus")) {
        bus.stop();
    } else if (!behaviour.isEmpty()) {
        service.emplace(
            bus, QStringLiteral("realtime-kit"),
            QStringList{QStringLiteral("--behaviour"), behaviour});
        QVERIFY(service->isRunning());
    }
    ServerUnderTest server;
    server.setWithoutPriority(bus.address());
    QVERIFY(server.start({writeShow(m_port)}));
    const QStringList lines = server.linesThrough(noRealTime);
    QVERIFY2(lines.constFirst().startsWith(QLatin1String("On air")), qPrintable(lines.join(u'\n')));
    QCOMPARE(lines.constLast(), noRealTime);
    QCOMPARE(::sched_getscheduler(threadOf(server, "mixer")), SCHED_OTHER);
    server.signal(SIGTERM);
    QCOMPARE(server.waitForEnd(), cleanEnd);
    QVERIFY(!server.remainingLines().contains(noRealTime));
}

void IntercomServerTest::aRealtimeKitThatHangsDelaysNothing()
{
    const PrivateBus bus;
    MockService service(
        bus, QStringLiteral("realtime-kit"),
        {QStringLiteral("--behaviour"), QStringLiteral("hang")});
    QVERIFY(service.isRunning());
    ServerUnderTest server;
    server.setWithoutPriority(bus.address());
    QVERIFY(goOnAir(server, writeShow(m_port)));
    QTRY_COMPARE(service.log().size(), 1);
    QVERIFY(sendText(m_port, QStringLiteral("Standby")));
    QVERIFY(!server.linesThrough(QStringLiteral("Announcing")).contains(noRealTime));
    QCOMPARE(server.linesThrough(noRealTime), QStringList{noRealTime});
    QTRY_COMPARE(service.log().size(), 2); // asked once, and left
    server.signal(SIGTERM);
    QCOMPARE(server.waitForEnd(), cleanEnd);
}

void IntercomServerTest::itsSpeechProgramIsConfinedToo()
{
    if (!Landlock().isSupported()) {
        QSKIP("This kernel has no Landlock.");
    }
    ServerUnderTest server;
    server.setPath(m_folder->path());
    QVERIFY(QFile::link(QStringLiteral(TRYING_SPEECH), pathOf(QStringLiteral("espeak-ng"))));
    QVERIFY(goOnAir(server, writeShow(m_port)));
    QVERIFY(sendText(m_port, QStringLiteral("Try")));
    QCOMPARE(
        server.linesThrough(QStringLiteral("Could not")).constLast(),
        QStringLiteral("Could not speak \"Try\": espeak-ng ended with status 3 (denied: a file to "
                       "read, a file to write, a process, a connection, tracing.)."));
}

void IntercomServerTest::noOtherProgramTakesThePlaceOfTheSpeechProgram()
{
    if (!Landlock().isSupported()) {
        QSKIP("This kernel has no Landlock.");
    }
    ServerUnderTest server;
    server.setPath(m_folder->path());
    const QString program = pathOf(QStringLiteral("espeak-ng"));
    QVERIFY(QFile::link(QStringLiteral(TRYING_SPEECH), program));
    QVERIFY(goOnAir(server, writeShow(m_port)));
    QVERIFY(QFile::remove(program) && QFile::link(QStringLiteral("/usr/bin/cat"), program));
    QVERIFY(sendText(m_port, QStringLiteral("Try")));
    QCOMPARE(
        server.linesThrough(QStringLiteral("Could not")).constLast(),
        QStringLiteral("Could not speak \"Try\": espeak-ng cannot be started: Permission denied."));
}

void IntercomServerTest::oneSenderDoesNotKeepAnotherFromAnnouncing()
{
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    const QString text = QStringLiteral("Places please. ").repeated(30);
    QVERIFY(sendOsc(ipv4, m_port, {QStringLiteral("repeat"), QStringLiteral("12"), say, text}));
    QVERIFY(
        !server.linesThrough(QStringLiteral("more messages: too many announcements")).isEmpty());
    QVERIFY(sendAsOther(m_port, "/wingbell/say", "Standby"));
    const QString line = server.linesThrough(otherSender).constLast();
    QCOMPARE(
        line, announcing(QStringLiteral("Standby"), QStringLiteral("every channel"), otherSender));
}

void IntercomServerTest::aSenderSilencesWhatItHasSaidAndNothingElse()
{
    const QString silence = QStringLiteral("/wingbell/silence");
    const QString text = QStringLiteral("Places please. ").repeated(20);
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    QVERIFY(sendOsc(ipv4, m_port, {QStringLiteral("repeat"), QStringLiteral("3"), say, text}));
    QVERIFY(sendAsOther(m_port, "/wingbell/say", "Standby"));
    QVERIFY(sendMessage(m_port, {silence}));
    QCOMPARE(
        server.linesThrough(QStringLiteral("ilence")).constLast(),
        QStringLiteral("Silenced 3 announcements from 127.0.0.1."));
    // Arguments do not count, nor does it whether it comes in a bundle.
    QVERIFY(sendOsc(ipv4, m_port, {QStringLiteral("bundle"), say, text, silence, text}));
    QCOMPARE(
        server.linesThrough(QStringLiteral("ilence")).constLast(),
        QStringLiteral("Silenced 1 announcement from 127.0.0.1."));
    QVERIFY(sendMessage(m_port, {silence}));
    QCOMPARE(
        server.linesThrough(QStringLiteral("ilence")).constLast(),
        QStringLiteral("Nothing to silence from 127.0.0.1."));
}

void IntercomServerTest::aStopSignalEndsItWithTheTimeOnAir_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("terminate") << SIGTERM;
    QTest::newRow("interrupt") << SIGINT;
}

void IntercomServerTest::aStopSignalEndsItWithTheTimeOnAir()
{
    QFETCH(int, number);
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    QElapsedTimer timer;
    timer.start();
    server.signal(number);
    QCOMPARE(server.waitForEnd(), cleanEnd);
    QVERIFY2(timer.elapsed() < maxStopTime, qPrintable(QString::number(timer.elapsed())));
    const QStringList lines = server.remainingLines();
    QCOMPARE(lines.size(), 1);
    const QRegularExpression offAir(
        QStringLiteral("^Off air after (less than a|\\d+) seconds?\\.$"));
    QVERIFY2(lines.at(0).contains(offAir), qPrintable(lines.at(0)));
    QCOMPARE(server.errorText(), QString());
    QUdpSocket next;
    QVERIFY(next.bind(QHostAddress::Any, m_port, QAbstractSocket::DontShareAddress));
}

void IntercomServerTest::aTerminalThatIsClosedLeavesItOnAir()
{
    ServerUnderTest server;
    QVERIFY(goOnAir(server, writeShow(m_port)));
    server.signal(SIGHUP);
    QVERIFY(sendText(m_port, QStringLiteral("Still here")));
    const QStringList lines = server.linesThrough(QStringLiteral("Still here"));
    QVERIFY(
        lines.contains(announcing(QStringLiteral("Still here"), QStringLiteral("every channel"))));
    server.signal(SIGTERM);
    QCOMPARE(server.waitForEnd(), cleanEnd);
}

void IntercomServerTest::aStopSignalRightAfterTheLaunchNeverHangs()
{
    const QString path = writeShow(m_port);
    const End bySignal{true, SIGTERM};
    for (int round = 0; round < 20; ++round) {
        ServerUnderTest server;
        QVERIFY(server.start({path}));
        server.signal(SIGTERM);
        const auto end = server.waitForEnd();
        QVERIFY(end);
        QVERIFY2(end == cleanEnd || end == bySignal, qPrintable(server.errorText()));
    }
}

void IntercomServerTest::itStopsWhileItsOutputIsNotRead()
{
    const NamedPipe pipe(pathOf(QStringLiteral("output")));
    ServerUnderTest server;
    server.sendOutputTo(pathOf(QStringLiteral("output")));
    QVERIFY(server.start({writeShow(m_port)}));
    QVERIFY(pipe.readThrough(lastOfFirst.toUtf8()).startsWith("On air "));
    pipe.fill();
    QVERIFY(sendText(m_port, QStringLiteral("Not read")));
    QTRY_COMPARE(bytesWaiting(m_port), 0);
    QVERIFY(server.isRunning());
    QElapsedTimer timer;
    timer.start();
    server.signal(SIGTERM);
    QCOMPARE(server.waitForEnd(), cleanEnd);
    QVERIFY2(timer.elapsed() < maxStopTime, qPrintable(QString::number(timer.elapsed())));
}

void IntercomServerTest::aReaderWhoComesBackGetsTheLines()
{
    const NamedPipe pipe(pathOf(QStringLiteral("output")));
    ServerUnderTest server;
    server.sendOutputTo(pathOf(QStringLiteral("output")));
    QVERIFY(server.start({writeShow(m_port)}));
    QVERIFY(pipe.readThrough(lastOfFirst.toUtf8()).startsWith("On air "));
    pipe.fill();
    QVERIFY(sendText(m_port, QStringLiteral("first")));
    QVERIFY(sendText(m_port, QStringLiteral("second")));
    QTRY_COMPARE(bytesWaiting(m_port), 0);
    const QByteArray output = pipe.readThrough("\"second\" on every channel, from 127.0.0.1");
    const qsizetype first = output.indexOf("Announcing \"first\"");
    QVERIFY(first >= 0);
    QVERIFY(output.indexOf("Announcing \"second\"") > first);
    server.signal(SIGTERM);
    QCOMPARE(server.waitForEnd(), cleanEnd);
    QVERIFY(pipe.readThrough("Off air after ").contains("Off air after "));
}

void IntercomServerTest::itStaysOnAirWhenItsOutputIsBroken()
{
    NamedPipe pipe(pathOf(QStringLiteral("output")));
    ServerUnderTest server;
    server.sendOutputTo(pathOf(QStringLiteral("output")));
    QVERIFY(server.start({writeShow(m_port)}));
    QVERIFY(pipe.readThrough(lastOfFirst.toUtf8()).startsWith("On air "));
    pipe.closeReader();
    for (int count = 0; count < 3; ++count) {
        QVERIFY(sendText(m_port, QStringLiteral("Cannot be read")));
        QTRY_COMPARE(bytesWaiting(m_port), 0);
    }
    QVERIFY(server.isRunning());
    server.signal(SIGTERM);
    QCOMPARE(server.waitForEnd(), cleanEnd);
    QCOMPARE(server.errorText(), QString());
}

void IntercomServerTest::itStaysOnAirWithoutAnyOutput()
{
    ServerUnderTest server;
    QVERIFY(server.start(
        {QStringLiteral("-c"), QStringLiteral("exec \"$0\" \"$1\" <&- >&- 2>&-"),
         QStringLiteral(WINGBELL_SERVER), writeShow(m_port)},
        QStringLiteral("/bin/sh")));
    QTRY_COMPARE(bytesWaiting(m_port), 0);
    // Nothing that the server opened stands in for its output and gets the lines.
    const QString output = QStringLiteral("/proc/%1/fd/1").arg(server.processId());
    QCOMPARE(QFile::symLinkTarget(output), QStringLiteral("/dev/null"));
    QVERIFY(sendText(m_port, QStringLiteral("Cannot be read")));
    QTRY_COMPARE(bytesWaiting(m_port), 0);
    QVERIFY(server.isRunning());
    server.signal(SIGTERM);
    QCOMPARE(server.waitForEnd(), cleanEnd);
}

WINGBELL_GUILESS_TEST(IntercomServerTest)
#include "IntercomServerTest.moc"
