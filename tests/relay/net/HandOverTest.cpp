#include "relay/net/HandOver.h"
#include "tests/TestProgram.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <cstring>
#include <functional>
#include <future>
#include <grp.h>
#include <memory>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>

using namespace wingbell;
using namespace std::chrono_literals;

namespace {

constexpr quint16 port = 47000;
constexpr auto timeout = 30s; // for the slowest machine
const QString socketName = QStringLiteral("port-47000");

bool isReadable(int descriptor, std::chrono::milliseconds wait)
{
    pollfd waiting = {descriptor, POLLIN, 0};
    return ::poll(&waiting, 1, static_cast<int>(wait.count())) == 1;
}

/// The process that `server` is asked by, waiting for it; 0 if none asks before the timeout.
pid_t nextRequest(HandOver& server)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        if (isReadable(server.descriptor(), 100ms)) {
            if (const auto process = server.takeRequest()) {
                return *process;
            }
        }
    }
    return 0;
}

/// The beginning of an exit status of a child; what it does not reach.
constexpr int failedBefore = 100;

constexpr uid_t otherUser = 65534; // has no rights

/// What `attempt` returns in a process of another user without any rights; -1 if this user may not
/// become another one.
template <typename Attempt> int asAnotherUser(const Attempt& attempt)
{
    const pid_t child = ::fork();
    if (child == 0) {
        const bool isOther = ::setgroups(0, nullptr) == 0 &&
                             ::setresgid(otherUser, otherUser, otherUser) == 0 &&
                             ::setresuid(otherUser, otherUser, otherUser) == 0;
        ::_exit(isOther ? attempt() : failedBefore);
    }
    int status = 0;
    const bool ended = ::waitpid(child, &status, 0) == child && WIFEXITED(status);
    return ended && WEXITSTATUS(status) != failedBefore ? WEXITSTATUS(status) : -1;
}

/// Puts something at a path; false if it could not.
using Put = std::function<bool(const QString&)>;

} // namespace

Q_DECLARE_METATYPE(Put)

class HandOverTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void theFolderIsTheUsersRuntimeFolder_data();
    void theFolderIsTheUsersRuntimeFolder();
    void aLaterServerIsToldWhenThePortsAreClosed();
    void onlyOneServerIsHandedOverTo();
    void otherPortsAreOtherServers();
    void whereNoServerIsThereIsNoneToAsk();
    void theSocketIsRemovedBeforeThePortsAreClosed();
    void aSocketThatWasLeftBehindIsReplaced();
    void whatIsNoSocketIsNeitherReplacedNorAsked_data();
    void whatIsNoSocketIsNeitherReplacedNorAsked();
    void aServerThatHangsKeepsItsPortsAlsoWhenItGoesOn();
    void aServerThatIsKilledWhileItHandsOverHasClosedItsPorts();
    void peersThatSendRubbishOrNothingKeepNoServerFromAsking();
    void anotherUsersServerIsNotAsked();
    void anotherUserIsNotHeard();

private:
    [[nodiscard]] FileDescriptor folder() const
    {
        return FileDescriptor(::open(
            QFile::encodeName(m_folder->path()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }
    [[nodiscard]] QString socketPath() const { return m_folder->filePath(socketName); }
    /// A peer that has connected as a later server does.
    [[nodiscard]] FileDescriptor connected() const;
    /// Lets other users reach the socket: their number alone must keep them out.
    void openToEveryone() const;

    std::unique_ptr<QTemporaryDir> m_folder;
};

void HandOverTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
}

FileDescriptor HandOverTest::connected() const
{
    FileDescriptor connection(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const QByteArray path = QFile::encodeName(socketPath());
    std::memcpy(address.sun_path, path.constData(), static_cast<std::size_t>(path.size()));
    return ::connect(
               connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0
               ? std::move(connection)
               : FileDescriptor();
}

void HandOverTest::openToEveryone() const
{
    for (const QString& path : {m_folder->path(), socketPath()}) {
        QCOMPARE(::chmod(QFile::encodeName(path).constData(), 0777), 0);
    }
}

void HandOverTest::theFolderIsTheUsersRuntimeFolder_data()
{
    QTest::addColumn<QString>("runtime");
    QTest::addColumn<bool>("isUsed");
    static const QTemporaryDir own;
    QTest::newRow("this user's") << own.path() << true;
    QTest::newRow("missing") << own.filePath(QStringLiteral("missing")) << false;
    QTest::newRow("not absolute") << QStringLiteral(".") << false;
    QTest::newRow("not set") << QString() << false;
    if (::geteuid() != 0) {
        QTest::newRow("another user's") << QStringLiteral("/") << false;
    }
}

void HandOverTest::theFolderIsTheUsersRuntimeFolder()
{
    QFETCH(QString, runtime);
    QFETCH(bool, isUsed);
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
    const QString systems = QStringLiteral("/run/user/%1").arg(::geteuid());
    const QString otherwise = QFileInfo::exists(systems) ? systems + QStringLiteral("/wingbell")
                                                         : QStringLiteral("/state");
    QCOMPARE(
        handOverFolder(environment, QStringLiteral("/state")),
        isUsed ? runtime + QStringLiteral("/wingbell") : otherwise);
}

void HandOverTest::aLaterServerIsToldWhenThePortsAreClosed()
{
    auto earlier = HandOver::open(folder(), port);
    QVERIFY(earlier);
    auto found = EarlierServer::find(folder(), port);
    QVERIFY(found);
    QCOMPARE(found->process(), ::getpid());

    auto tookOver =
        std::async(std::launch::async, [&] { return found->takeOver(timeout, timeout); });
    QCOMPARE(nextRequest(*earlier), ::getpid());
    QCOMPARE(tookOver.wait_for(50ms), std::future_status::timeout); // the ports are still open
    earlier->finish();
    QVERIFY(tookOver.get());
}

void HandOverTest::onlyOneServerIsHandedOverTo()
{
    auto earlier = HandOver::open(folder(), port);
    auto first = EarlierServer::find(folder(), port);
    auto second = EarlierServer::find(folder(), port);
    QVERIFY(earlier && first && second);
    auto firstTookOver =
        std::async(std::launch::async, [&] { return first->takeOver(timeout, timeout); });
    QCOMPARE(nextRequest(*earlier), ::getpid());
    QVERIFY(!second->takeOver(timeout, timeout));
    QVERIFY(!EarlierServer::find(folder(), port));
    earlier->finish();
    QVERIFY(firstTookOver.get());
}

void HandOverTest::otherPortsAreOtherServers()
{
    const auto earlier = HandOver::open(folder(), port);
    QVERIFY(earlier);
    QVERIFY(!EarlierServer::find(folder(), port + 1));
    QVERIFY(HandOver::open(folder(), port + 1));
    QVERIFY(EarlierServer::find(folder(), port));
}

void HandOverTest::whereNoServerIsThereIsNoneToAsk()
{
    QVERIFY(!EarlierServer::find(folder(), port));
}

void HandOverTest::theSocketIsRemovedBeforeThePortsAreClosed()
{
    auto earlier = HandOver::open(folder(), port);
    QVERIFY(earlier);
    earlier->close();
    QVERIFY(!QFileInfo::exists(socketPath()));
    auto later = HandOver::open(folder(), port);
    QVERIFY(later);
    earlier->finish(); // must not take away the later one's socket
    QVERIFY(EarlierServer::find(folder(), port));
}

void HandOverTest::aSocketThatWasLeftBehindIsReplaced()
{
    const pid_t child = ::fork();
    if (child == 0) {
        const auto killed = HandOver::open(folder(), port);
        (void)::raise(SIGKILL);
    }
    QCOMPARE(::waitpid(child, nullptr, 0), child);
    QVERIFY(QFileInfo::exists(socketPath()));
    QVERIFY(!EarlierServer::find(folder(), port));
    const auto opened = HandOver::open(folder(), port);
    QVERIFY(opened);
    QVERIFY(EarlierServer::find(folder(), port));
}

void HandOverTest::whatIsNoSocketIsNeitherReplacedNorAsked_data()
{
    QTest::addColumn<Put>("put");
    const auto row = [](const char* name, const Put& put) {
        QTest::newRow(name) << put;
    };
    row("a file", [](const QString& path) { return QFile(path).open(QIODevice::WriteOnly); });
    row("a folder", [](const QString& path) { return QDir().mkdir(path); });
    row("a link to a socket", [](const QString& path) {
        static const QTemporaryDir elsewhere;
        static const auto other = HandOver::open(
            FileDescriptor(::open(
                QFile::encodeName(elsewhere.path()).constData(),
                O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
            port);
        return other && QFile::link(elsewhere.filePath(socketName), path);
    });
}

void HandOverTest::whatIsNoSocketIsNeitherReplacedNorAsked()
{
    QFETCH(Put, put);
    QVERIFY(put(socketPath()));
    QVERIFY(!EarlierServer::find(folder(), port));
    const auto opened = HandOver::open(folder(), port);
    QVERIFY(!opened);
    QVERIFY(opened.error() == std::errc::file_exists);
    QVERIFY(QFileInfo::exists(socketPath()));
}

void HandOverTest::aServerThatHangsKeepsItsPortsAlsoWhenItGoesOn()
{
    auto earlier = HandOver::open(folder(), port);
    auto later = EarlierServer::find(folder(), port);
    QVERIFY(earlier && later);
    QVERIFY(!later->takeOver(1ms, timeout));
    QVERIFY(isReadable(earlier->descriptor(), timeout));
    QVERIFY(!earlier->takeRequest());
    QVERIFY(EarlierServer::find(folder(), port));
}

void HandOverTest::aServerThatIsKilledWhileItHandsOverHasClosedItsPorts()
{
    const pid_t child = ::fork();
    if (child == 0) {
        auto earlier = HandOver::open(folder(), port);
        (void)nextRequest(*earlier);
        (void)::raise(SIGKILL);
    }
    std::optional<EarlierServer> found;
    QTRY_VERIFY_WITH_TIMEOUT(found = EarlierServer::find(folder(), port), 30'000);
    QCOMPARE(found->process(), child);
    QVERIFY(found->takeOver(timeout, timeout));
    QCOMPARE(::waitpid(child, nullptr, 0), child);
}

void HandOverTest::peersThatSendRubbishOrNothingKeepNoServerFromAsking()
{
    auto earlier = HandOver::open(folder(), port);
    QVERIFY(earlier);
    std::vector<FileDescriptor> peers;
    const QByteArray much(100'000, 'x');
    for (const QByteArray& text :
         {QByteArray("GET / HTTP/1.1\r\n\r\n"), QByteArray("hand over"),
          QByteArray("hand over\nhand over\n"), QByteArray(1, '\0'), much}) {
        peers.push_back(connected());
        QVERIFY(peers.back().isOpen());
        (void)::send(
            peers.back().get(), text.constData(), static_cast<std::size_t>(text.size()),
            MSG_NOSIGNAL | MSG_DONTWAIT);
        QVERIFY(!earlier->takeRequest());
    }
    for (std::size_t count = 0; count < 3 * HandOver::maxWaiting; ++count) {
        peers.push_back(connected()); // and stays, without a word
        QVERIFY(peers.back().isOpen());
        QVERIFY(!earlier->takeRequest());
    }
    auto later = EarlierServer::find(folder(), port);
    QVERIFY(later);
    auto tookOver =
        std::async(std::launch::async, [&] { return later->takeOver(timeout, timeout); });
    QCOMPARE(nextRequest(*earlier), ::getpid());
    earlier->finish();
    QVERIFY(tookOver.get());
}

void HandOverTest::anotherUsersServerIsNotAsked()
{
    auto earlier = HandOver::open(folder(), port);
    QVERIFY(earlier);
    openToEveryone();
    // The file's owner is right, and the listening process another user's.
    const bool isRoot = ::chown(QFile::encodeName(socketPath()).constData(), otherUser, -1U) == 0;
    QCOMPARE(isRoot, ::geteuid() == 0);
    const int found = asAnotherUser([this] { return EarlierServer::find(folder(), port) ? 1 : 0; });
    if (found < 0) {
        QSKIP("only root can become another user");
    }
    QCOMPARE(found, 0);
    QVERIFY(!earlier->takeRequest());
}

void HandOverTest::anotherUserIsNotHeard()
{
    auto earlier = HandOver::open(folder(), port);
    QVERIFY(earlier);
    openToEveryone();
    const int sent = asAnotherUser([this] {
        constexpr std::string_view text = "hand over\n";
        const FileDescriptor peer = connected();
        return ::send(peer.get(), text.data(), text.size(), MSG_NOSIGNAL) ==
                       static_cast<ssize_t>(text.size())
                   ? 1
                   : 0;
    });
    if (sent < 0) {
        QSKIP("only root can become another user");
    }
    QCOMPARE(sent, 1); // otherwise it proves nothing
    QVERIFY(isReadable(earlier->descriptor(), timeout));
    QVERIFY(!earlier->takeRequest());
    QVERIFY(EarlierServer::find(folder(), port));
}

WINGBELL_GUILESS_TEST(HandOverTest)
#include "HandOverTest.moc"
