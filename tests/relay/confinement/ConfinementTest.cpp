#include "relay/confinement/Confinement.h"
#include "relay/access/StateDirectory.h"
#include "relay/net/HandOver.h"
#include "tests/TestProgram.h"
#include "tests/fixtures/OldKernel.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <linux/io_uring.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace wingbell;

namespace {

/// 0, or the system's error number.
using Attempt = std::function<int()>;

constexpr int confinementFailed = 254;

/// What `attempt` comes to in a process of its own.
int inChild(const Attempt& attempt)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(attempt());
    }
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// The same after it has entered `confinement`.
int within(const Confinement& confinement, const Attempt& attempt)
{
    return inChild([&] { return confinement.enter() == 0 ? attempt() : confinementFailed; });
}

int errorOf(long result)
{
    return result < 0 ? errno : 0;
}

int opening(const QString& path, int how)
{
    const FileDescriptor file(::open(QFile::encodeName(path).constData(), how | O_CLOEXEC, 0600));
    return file.isOpen() ? 0 : errno;
}

int running(const char* program)
{
    std::array<char*, 2> arguments = {const_cast<char*>(program), nullptr};
    pid_t child = -1;
    const int error = ::posix_spawn(&child, program, nullptr, nullptr, arguments.data(), environ);
    if (error == 0) {
        ::waitpid(child, nullptr, 0);
    }
    return error;
}

int usingTcp(int (*call)(int, const sockaddr*, socklen_t))
{
    const FileDescriptor connection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in place = {};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    place.sin_port = htons(9);
    return errorOf(call(connection.get(), reinterpret_cast<sockaddr*>(&place), sizeof place));
}

/// What the running kernel's Landlock can do; 0 without one.
long landlockVersion()
{
    constexpr unsigned askVersion = 1;
    return std::max(0L, ::syscall(SYS_landlock_create_ruleset, nullptr, 0, askVersion));
}

} // namespace

Q_DECLARE_METATYPE(Attempt)

class ConfinementTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void theServerIsDeniedWhatItDoesNotNeed_data();
    void theServerIsDeniedWhatItDoesNotNeed();
    void theServerDoesWhatItNeeds();
    void callsThatNoListNamesAreMissing();
    void speechIsDeniedEvenMore_data();
    void speechIsDeniedEvenMore();
    void speechStartsInsideTheServersConfinement();
    void aKernelThatLacksItIsNamedAndTheRestHolds_data();
    void aKernelThatLacksItIsNamedAndTheRestHolds();

private:
    [[nodiscard]] QString pathOf(const char* name) const
    {
        return m_folder->filePath(QString::fromLatin1(name));
    }
    [[nodiscard]] Confinement server() const
    {
        return serverConfinement({pathOf("state").toStdString()}, "/usr/bin/espeak-ng");
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void ConfinementTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("state")));
    QFile secret(pathOf("secret"));
    QVERIFY(secret.open(QIODevice::WriteOnly) && secret.setPermissions(QFile::ReadOwner));
}

void ConfinementTest::theServerIsDeniedWhatItDoesNotNeed_data()
{
    // What they try is harmless where it succeeds.
    QTest::addColumn<Attempt>("attempt");
    QTest::addColumn<int>("since"); // the version of Landlock that can deny it
    const auto row = [](const char* name, int since, const Attempt& attempt) {
        QTest::newRow(name) << attempt << since;
    };
    row("reading a file of the user", 1, [this] { return opening(pathOf("secret"), O_RDONLY); });
    row("reading a folder of the user", 1,
        [this] { return opening(m_folder->path(), O_RDONLY | O_DIRECTORY); });
    row("reading passwords", 1, [] { return opening(QStringLiteral("/etc/shadow"), O_RDONLY); });
#ifndef WINGBELL_SANITIZED // which need both
    row("reading what others run", 1,
        [] { return opening(QStringLiteral("/proc/1/stat"), O_RDONLY); });
    row("tracing", 0, [] { return errorOf(::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr)); });
#endif
    row("writing beside the state folder", 1,
        [this] { return opening(pathOf("new"), O_WRONLY | O_CREAT); });
    row("emptying a file", 3,
        [this] { return errorOf(::truncate(QFile::encodeName(pathOf("secret")).constData(), 0)); });
    row("removing a file", 1,
        [this] { return errorOf(::unlink(QFile::encodeName(pathOf("secret")).constData())); });
    row("running another program", 1, [] { return running("/usr/bin/true"); });
    row("connecting", 4, [] { return usingTcp(::connect); });
    row("taking a port", 4, [] { return usingTcp(::bind); });
    row("a signal to another process", 6, [] { return errorOf(::kill(::getppid(), 0)); });
    row("reading another's memory", 0, [] {
        return errorOf(::syscall(SYS_process_vm_readv, ::getppid(), nullptr, 0, nullptr, 0, 0));
    });
    row("mounting", 0,
        [] { return errorOf(::mount("none", "/nowhere/here", "tmpfs", 0, nullptr)); });
    row("unsharing", 0, [] { return errorOf(::unshare(CLONE_FILES)); });
    row("a ring", 0, [] {
        io_uring_params parameters = {};
        return errorOf(::syscall(SYS_io_uring_setup, 1, &parameters));
    });
    row("a program for the kernel", 0, [] { return errorOf(::syscall(SYS_bpf, 0, nullptr, 0)); });
    row("the kernel's keys", 0, [] { return errorOf(::syscall(SYS_keyctl, 0, 0, 0, 0, 0)); });
    row("faults of pages", 0, [] { return errorOf(::syscall(SYS_userfaultfd, 0)); });
    row("counting events", 0,
        [] { return errorOf(::syscall(SYS_perf_event_open, nullptr, 0, 0, 0, 0)); });
}

void ConfinementTest::theServerIsDeniedWhatItDoesNotNeed()
{
    QFETCH(Attempt, attempt);
    QFETCH(int, since);
    if (landlockVersion() < since) {
        QSKIP("This kernel cannot deny it.");
    }
    const int error = within(server(), attempt);
    QVERIFY2(error == EACCES || error == EPERM, qPrintable(QString::number(error)));
}

void ConfinementTest::theServerDoesWhatItNeeds()
{
    const StateDirectory sockets(pathOf("state"));
    auto handOver = HandOver::open(sockets.openOrMake().value(), 47000);
    auto later = EarlierServer::find(sockets.openOrMake().value(), 47000);
    QVERIFY(handOver && later);
    const Attempt attempt = [&]() -> int {
        const StateDirectory folder(pathOf("state"));
        if (!folder.write(QStringLiteral("crew-code"), "482913") ||
            folder.read(QStringLiteral("crew-code")).value_or(QByteArray()) != "482913") {
            return 1;
        }
        if (opening(QStringLiteral("/usr/bin/true"), O_RDONLY) != 0 ||
            opening(QStringLiteral("/etc/hosts"), O_RDONLY) != 0) {
            return 2;
        }
        int made = 0;
        std::thread([&made] { made = 1; }).join();
        if (made != 1) {
            return 3;
        }
        const pid_t child = ::fork();
        if (child == 0) {
            (void)::poll(nullptr, 0, -1);
            ::_exit(0); // never on to the kill() below, which would mean the whole group
        }
        int status = 0;
        if (::kill(child, SIGKILL) != 0 || ::waitpid(child, &status, 0) != child) {
            return 4;
        }
        QProcess speech; // as a library starts it
        speech.start(QStringLiteral("/usr/bin/espeak-ng"), {QStringLiteral("--version")});
        if (!speech.waitForFinished() || speech.exitCode() != 0) {
            return 6;
        }
        std::thread asking([&later] { (void)later->takeOver(); });
        pollfd waiting = {handOver->descriptor(), POLLIN, 0};
        while (!handOver->takeRequest()) {
            (void)::poll(&waiting, 1, -1);
        }
        handOver->finish();
        asking.join();
        if (QFileInfo::exists(pathOf("state/port-47000"))) {
            return 7;
        }
        const FileDescriptor datagrams(::socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        return datagrams.isOpen() ? 0 : 5;
    };
    QCOMPARE(within(server(), attempt), 0);
}

void ConfinementTest::callsThatNoListNamesAreMissing()
{
    const Attempt raw = [] {
        return errorOf(::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0));
    };
    QCOMPARE(within(server(), raw), ENOSYS);
    // Where clone3() is missing, clone() is asked, whose flags can be seen.
    const Attempt clone3 = [] {
        return errorOf(::syscall(SYS_clone3, nullptr, 0));
    };
    QCOMPARE(within(server(), clone3), ENOSYS);
    // Without a number it is the calling thread's own priority, which it may change.
    const auto lowered = [](pid_t thread) {
        return Attempt([thread] {
            sched_param none = {};
            return errorOf(::sched_setscheduler(thread, SCHED_OTHER, &none));
        });
    };
    QCOMPARE(within(server(), lowered(0)), 0);
    QCOMPARE(within(server(), lowered(::getpid())), ENOSYS);
    const Attempt ofTheFuture = [] {
        return errorOf(::syscall(4095));
    };
    QCOMPARE(within(server(), ofTheFuture), ENOSYS);
}

void ConfinementTest::speechIsDeniedEvenMore_data()
{
    QTest::addColumn<Attempt>("attempt");
    QTest::newRow("the state folder")
        << Attempt([this] { return opening(pathOf("state"), O_RDONLY | O_DIRECTORY); });
    QTest::newRow("names of users")
        << Attempt([] { return opening(QStringLiteral("/etc/passwd"), O_RDONLY); });
    QTest::newRow("a file") << Attempt(
        [this] { return opening(pathOf("state/new"), O_WRONLY | O_CREAT); });
    QTest::newRow("a process") << Attempt([] {
        const pid_t child = ::fork();
        if (child == 0) {
            ::_exit(0);
        }
        return errorOf(child);
    });
    QTest::newRow("a connection of any kind")
        << Attempt([] { return errorOf(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)); });
    QTest::newRow("a signal") << Attempt([] { return errorOf(::kill(::getppid(), 0)); });
    QTest::newRow("another program") << Attempt([] {
        std::array<char*, 1> none = {nullptr};
        return errorOf(::execve("/usr/bin/true", none.data(), none.data()));
    });
    QTest::newRow("much memory") << Attempt([] {
        const void* const bytes =
            ::mmap(nullptr, std::size_t{1} << 30U, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        return bytes == MAP_FAILED ? errno : 0;
    });
}

void ConfinementTest::speechIsDeniedEvenMore()
{
    QFETCH(Attempt, attempt);
    if (landlockVersion() == 0) {
        QSKIP("This kernel cannot deny all of it.");
    }
    const int error = within(speechConfinement("/usr/bin/espeak-ng"), attempt);
    QVERIFY2(error > 0 && error < confinementFailed, qPrintable(QString::number(error)));
}

void ConfinementTest::speechStartsInsideTheServersConfinement()
{
    const Attempt attempt = []() -> int {
        // It may not write to a file, which the test's output can be.
        const FileDescriptor nothing(::open("/dev/null", O_WRONLY | O_CLOEXEC));
        (void)::dup2(nothing.get(), STDOUT_FILENO);
        const Confinement speech = speechConfinement("/usr/bin/espeak-ng");
        return within(speech, [] {
            const std::array<const char*, 3> arguments = {"espeak-ng", "--version", nullptr};
            ::execve("/usr/bin/espeak-ng", const_cast<char**>(arguments.data()), environ);
            return errno;
        });
    };
    QCOMPARE(within(server(), attempt), 0);
}

void ConfinementTest::aKernelThatLacksItIsNamedAndTheRestHolds_data()
{
    QTest::addColumn<bool>("landlock");
    QTest::addColumn<bool>("seccomp");
    QTest::newRow("neither") << false << false;
    QTest::newRow("no Landlock") << false << true;
    QTest::newRow("no seccomp") << true << false;
}

void ConfinementTest::aKernelThatLacksItIsNamedAndTheRestHolds()
{
    QFETCH(bool, landlock);
    QFETCH(bool, seccomp);
    if (landlockVersion() == 0) {
        QSKIP("This kernel lacks it by itself.");
    }
    QStringList lacking;
    if (!landlock) {
        lacking.append(QStringLiteral("no Landlock"));
    }
    if (!seccomp) {
        lacking.append(QStringLiteral("no seccomp"));
    }
    const auto attempt = [&]() -> int {
        behaveAsAnOldKernel(landlock, seccomp);
        const Confinement confinement = server();
        if (confinement.lacking() != lacking || confinement.enter() != 0 ||
            ::prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) != 1) {
            return 1;
        }
        const bool fileDenied = opening(pathOf("secret"), O_RDONLY) == EACCES;
        const bool callDenied = errorOf(::syscall(SYS_bpf, -1, nullptr, 0)) == EPERM;
        return (fileDenied == landlock ? 0 : 2) + (callDenied == seccomp ? 0 : 4);
    };
    QCOMPARE(inChild(attempt), 0);
}

WINGBELL_GUILESS_TEST(ConfinementTest)
#include "ConfinementTest.moc"
