#include "server/ServerController.h"
#include "tests/TestProgram.h"
#include "tests/fixtures/ChildProcesses.h"

#include <QAbstractEventDispatcher>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <array>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <malloc.h>
#include <memory>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace wingbell;

namespace {

/// Notes what it is asked for.
class RecordingSleepInhibitor final : public SleepInhibitor
{
public:
    quint32 inhibit(const QString& reason) override
    {
        calls.append(u"inhibit "_s + reason);
        return nextIdentifier;
    }
    void release(quint32 identifier) override { calls.append(u"release %1"_s.arg(identifier)); }

    QStringList calls;
    quint32 nextIdentifier = 7;
};

const QString showPath = QStringLiteral("/Users/Shared/Wingbell/roles.json");
const QString startLine =
    u"\u25B6\uFE0E Starting server with /Users/Shared/Wingbell/roles.json\u2026"_s;
const QString stoppingLine = u"\u25A0 Stopping\u2026"_s;
const QString stoppedLine = u"\u25A0 Server stopped."_s;
const QString missingLine =
    u"\u26A0\uFE0F This app is missing its embedded server binary \u2014 rebuild with build_app.sh."_s;

QString exitLine(int status)
{
    return u"\u25A0 Server exited (status %1)."_s.arg(status);
}

qint64 openDescriptors()
{
    return QDir(u"/proc/self/fd"_s)
        .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
        .size();
}

/// Those that this process was itself given and hands on to every child.
int descriptorsHandedOn()
{
    int count = 0;
    for (int descriptor = 3; descriptor < 1024; ++descriptor) {
        const int flags = ::fcntl(descriptor, F_GETFD);
        count += flags >= 0 && (flags & FD_CLOEXEC) == 0 ? 1 : 0;
    }
    return count;
}

} // namespace

class ServerControllerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void aNewControllerIsStoppedWithAnEmptyLog();
    void aMissingServerAddsItsLineAndKeepsTheLog();
    void aServerThatCannotBeRunIsToldAndTakesNoInhibition_data();
    void aServerThatCannotBeRunIsToldAndTakesNoInhibition();
    void aLaunchIsStartingUntilTheFirstOutput();
    void theServerGetsTheShowsPathAndNothingElse();
    void startingTwiceChangesNothing();
    void stoppingAStoppedControllerDoesNothing();
    void aSilentServerCannotBeStopped();
    void aLoneLineFeedTurnsStartingToRunning();
    void outputThatIsNoTextKeepsItStarting();
    void aChunkThatIsNoTextIsLostAlone();
    void aCharacterCutInHalfLosesItsChunks();
    void aLineInTwoChunksIsTwoLines();
    void bothStreamsArriveInOrder();
    void theNewest500OutputLinesAreKept();
    void theControllersOwnLinesComeOnTopOf500();
    void outputWithoutALineTrimsTheLogToo();
    void eachStartBeginsAFreshLog();
    void theLogSurvivesAStop();

    void everyExitIsTold_data();
    void everyExitIsTold();
    void theTerminateSignalIsStatus15();
    void aServerThatCatchesTheSignalHasStopped();
    void lastWordsComeBeforeTheExitLine();
    void aServerThatIgnoresTheSignalStaysRunning();
    void stoppingAServerThatHasJustExitedLogsNothing();
    void aServerThatClosesItsOutputRunsOn();
    void aGrandchildIsHeardAfterTheExit();
    void aChatteringGrandchildDoesNotDelayTheExit();
    void aTerminalTakesNoServerAlong_data();
    void aTerminalTakesNoServerAlong();

    void aRunTakesItsStepsInOrder_data();
    void aRunTakesItsStepsInOrder();
    void eachRunTakesAndReleasesOneInhibition();
    void withoutAnIdentifierNothingIsReleased();
    void destroyingTheControllerEndsNeitherServerNorInhibition();
    void outputIsDrainedWithoutAController();

    void changesAreToldOncePerValue();
    void aFloodLeavesTheWindowAnswering_data();
    void aFloodLeavesTheWindowAnswering();
    void randomBytesAreSurvived();
    void aThousandRunsLeaveNothingBehind();
    void aThousandStopsLeaveNothingBehind();
    void aServerThatWasReplacedRunsAtTheNextStart();

private:
    /// Makes the next start run the fixture under that name.
    void serverIs(const char* behaviour);
    void startAndWaitUntilRunning(const char* behaviour);
    void runManyTimes(int times, const char* behaviour);
    void expectNothingLeftBehindBy(const char* behaviour);
    QStringList log() const { return m_controller->logLines(); }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ShowConfig> m_config;
    std::unique_ptr<ServerController> m_controller;
    RecordingSleepInhibitor* m_sleep = nullptr;
    std::unique_ptr<RecordingSleepInhibitor> m_ownedSleep;
    std::optional<QString> m_server;
};

void ServerControllerTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_config = std::make_unique<ShowConfig>(QDir(m_folder->path()));
    m_ownedSleep = std::make_unique<RecordingSleepInhibitor>();
    m_sleep = m_ownedSleep.get();
    m_server.reset();
    m_controller = std::make_unique<ServerController>(
        *m_config, [this] { return m_server; }, *m_sleep);
}

void ServerControllerTest::cleanup()
{
    for (const pid_t pid : childProcesses()) {
        ::kill(pid, SIGKILL);
    }
    QTRY_VERIFY(childProcesses().isEmpty());
    m_controller.reset();
    m_config.reset();
    m_folder.reset();
}

void ServerControllerTest::serverIs(const char* behaviour)
{
    const QString link = m_folder->filePath(QString::fromLatin1(behaviour));
    QFile::link(QStringLiteral(MISBEHAVING_SERVER), link);
    m_server = link;
}

void ServerControllerTest::startAndWaitUntilRunning(const char* behaviour)
{
    serverIs(behaviour);
    m_controller->start();
    QTRY_VERIFY(m_controller->isRunning());
}

void ServerControllerTest::aNewControllerIsStoppedWithAnEmptyLog()
{
    QVERIFY(!m_controller->isRunning());
    QVERIFY(!m_controller->isStarting());
    QVERIFY(log().isEmpty());
    QCOMPARE(&m_controller->config(), m_config.get());
}

void ServerControllerTest::aMissingServerAddsItsLineAndKeepsTheLog()
{
    serverIs("exit-0");
    m_controller->start();
    QTRY_COMPARE(log().size(), 2);
    m_server.reset();
    m_controller->start();
    QCOMPARE(log(), (QStringList{startLine, stoppedLine, missingLine}));
    m_controller->start();
    QCOMPARE(log().size(), 4);
    QVERIFY(!m_controller->isRunning());
    QVERIFY(!m_controller->isStarting());
    QCOMPARE(m_sleep->calls.size(), 2);
}

void ServerControllerTest::aServerThatCannotBeRunIsToldAndTakesNoInhibition_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("executable");
    QTest::newRow("no execute permission") << QByteArray("#!/bin/sh\n") << false;
    QTest::newRow("no interpreter") << QByteArray("#!/nowhere/sh\n") << true;
    QTest::newRow("no program") << QByteArray("hello") << true;
    QTest::newRow("empty") << QByteArray() << true;
}

void ServerControllerTest::aServerThatCannotBeRunIsToldAndTakesNoInhibition()
{
    QFETCH(const QByteArray, content);
    QFETCH(const bool, executable);
    serverIs("exit-0");
    m_controller->start();
    QTRY_COMPARE(log().size(), 2);
    m_sleep->calls.clear();

    QFile file(m_folder->filePath(u"server"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();
    if (executable) {
        QVERIFY(file.setPermissions(file.permissions() | QFile::ExeOwner));
    }
    m_server = file.fileName();
    QSignalSpy starting(m_controller.get(), &ServerController::isStartingChanged);
    m_controller->start();
    QCOMPARE(log().size(), 1);
    QVERIFY(log().first().startsWith(u"\u26A0\uFE0F Couldn't start the server: "_s));
    QVERIFY(log().first().size() > 40);
    QVERIFY(!m_controller->isStarting());
    QVERIFY(!m_controller->isRunning());
    QCOMPARE(starting.size(), 2);
    QVERIFY(m_sleep->calls.isEmpty());

    serverIs("hello"); // and the next start works
    m_controller->start();
    QTRY_VERIFY(m_controller->isRunning());
}

void ServerControllerTest::aLaunchIsStartingUntilTheFirstOutput()
{
    serverIs("hello");
    m_controller->start();
    QVERIFY(m_controller->isStarting());
    QVERIFY(!m_controller->isRunning());
    QCOMPARE(log(), QStringList{startLine});
    QCOMPARE(m_sleep->calls, QStringList{u"inhibit Wingbell show is running"_s});
    QTRY_VERIFY(m_controller->isRunning());
    QVERIFY(!m_controller->isStarting());
    QCOMPARE(log(), (QStringList{startLine, u"hello"_s}));
}

void ServerControllerTest::theServerGetsTheShowsPathAndNothingElse()
{
    qputenv("WINGBELL_TEST_MARK", "handed on");
    startAndWaitUntilRunning("arguments");
    QTRY_COMPARE(log().size(), 7);
    QCOMPARE(log().at(1), u"1 argument(s)"_s);
    QCOMPARE(log().at(2), u"["_s + showPath + u"]"_s);
    QCOMPARE(log().at(3), u"folder "_s + QDir::currentPath());
    QCOMPARE(log().at(4), u"input is empty"_s);
    QCOMPARE(log().at(5), u"mark handed on"_s);
    QCOMPARE(log().at(6), u"%1 more descriptor(s)"_s.arg(descriptorsHandedOn()));
    qunsetenv("WINGBELL_TEST_MARK");
}

void ServerControllerTest::startingTwiceChangesNothing()
{
    serverIs("hello");
    m_controller->start();
    m_controller->start();
    QCOMPARE(log(), QStringList{startLine});
    QTRY_VERIFY(m_controller->isRunning());
    m_controller->start();
    m_server.reset();
    m_controller->start();
    QCOMPARE(log(), (QStringList{startLine, u"hello"_s}));
    QCOMPARE(childProcesses().size(), 1);
    QCOMPARE(m_sleep->calls.size(), 1);
}

void ServerControllerTest::stoppingAStoppedControllerDoesNothing()
{
    m_controller->stop();
    QVERIFY(log().isEmpty());
    QVERIFY(m_sleep->calls.isEmpty());
}

void ServerControllerTest::aSilentServerCannotBeStopped()
{
    serverIs("silent");
    m_controller->start();
    m_controller->stop();
    QCOMPARE(log(), QStringList{startLine});
    QVERIFY(m_controller->isStarting());
    QCOMPARE(childProcesses().size(), 1);
    ::kill(childProcesses().constFirst(), SIGTERM);
    QTRY_VERIFY(!m_controller->isStarting());
    QVERIFY(!m_controller->isRunning());
    QCOMPARE(log(), (QStringList{startLine, exitLine(15)}));
}

void ServerControllerTest::aLoneLineFeedTurnsStartingToRunning()
{
    startAndWaitUntilRunning("line-feed");
    QVERIFY(!m_controller->isStarting());
    QCOMPARE(log(), QStringList{startLine});
}

void ServerControllerTest::outputThatIsNoTextKeepsItStarting()
{
    serverIs("only-garbage");
    QSignalSpy running(m_controller.get(), &ServerController::isRunningChanged);
    m_controller->start();
    QTRY_VERIFY(!m_controller->isStarting());
    QCOMPARE(running.size(), 0);
    QCOMPARE(log(), (QStringList{startLine, exitLine(7)})); // it ends once it was heard
}

void ServerControllerTest::aChunkThatIsNoTextIsLostAlone()
{
    startAndWaitUntilRunning("garbage");
    QCOMPARE(log(), (QStringList{startLine, u"sense"_s}));
}

void ServerControllerTest::aCharacterCutInHalfLosesItsChunks()
{
    startAndWaitUntilRunning("half-a-character");
    QCOMPARE(log(), (QStringList{startLine, u"caf\u00E9 whole"_s}));
}

void ServerControllerTest::aLineInTwoChunksIsTwoLines()
{
    startAndWaitUntilRunning("half-a-line");
    QTRY_COMPARE(log(), (QStringList{startLine, u"no line feed"_s, u" yet"_s}));
}

void ServerControllerTest::bothStreamsArriveInOrder()
{
    startAndWaitUntilRunning("both-streams");
    QTRY_COMPARE(
        log(), (QStringList{startLine, u"out 1"_s, u"error 1"_s, u"out 2"_s, u"error 2"_s}));
}

void ServerControllerTest::theNewest500OutputLinesAreKept()
{
    startAndWaitUntilRunning("520-lines");
    QTRY_COMPARE(log().last(), u"line 520"_s);
    QCOMPARE(log().size(), 500);
    QCOMPARE(log().first(), u"line 21"_s);
    // The line that tells of the start went too.
    QCOMPARE(m_controller->droppedLines(), 21);
    m_controller->stop();
    QTRY_VERIFY(!m_controller->isRunning());
    const qsizetype before = log().size();
    m_controller->start();
    QCOMPARE(m_controller->droppedLines(), 21 + before);
}

void ServerControllerTest::theControllersOwnLinesComeOnTopOf500()
{
    startAndWaitUntilRunning("500-lines-graceful");
    QTRY_COMPARE(log().last(), u"line 500"_s);
    QCOMPARE(log().size(), 500);
    m_controller->stop();
    QTRY_VERIFY(!m_controller->isRunning());
    QCOMPARE(log().size(), 502);
    QCOMPARE(log().first(), u"line 1"_s);
    QCOMPARE(log().at(500), stoppingLine);
    QCOMPARE(log().at(501), stoppedLine);
}

void ServerControllerTest::outputWithoutALineTrimsTheLogToo()
{
    startAndWaitUntilRunning("500-lines-blank-last-words");
    QTRY_COMPARE(log().last(), u"line 500"_s);
    QSignalSpy lines(m_controller.get(), &ServerController::logLinesChanged);
    m_controller->stop();
    QCOMPARE(log().size(), 501);
    QTRY_VERIFY(!m_controller->isRunning());
    QCOMPARE(log().size(), 501);
    QCOMPARE(log().first(), u"line 2"_s);
    QCOMPARE(log().mid(499), (QStringList{stoppingLine, stoppedLine}));
    QCOMPARE(lines.size(), 3);
}

void ServerControllerTest::eachStartBeginsAFreshLog()
{
    serverIs("exit-2");
    m_controller->start();
    QTRY_COMPARE(log(), (QStringList{startLine, exitLine(2)}));
    m_controller->start();
    QCOMPARE(log(), QStringList{startLine});
    QTRY_COMPARE(log(), (QStringList{startLine, exitLine(2)}));
}

void ServerControllerTest::theLogSurvivesAStop()
{
    startAndWaitUntilRunning("hello");
    m_controller->stop();
    QTRY_VERIFY(!m_controller->isRunning());
    QCOMPARE(log(), (QStringList{startLine, u"hello"_s, stoppingLine, exitLine(15)}));
}

void ServerControllerTest::everyExitIsTold_data()
{
    QTest::addColumn<QByteArray>("behaviour");
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("status 0") << QByteArray("exit-0") << QStringList{stoppedLine};
    QTest::newRow("status 2") << QByteArray("exit-2") << QStringList{exitLine(2)};
    QTest::newRow("status 255") << QByteArray("exit-255") << QStringList{exitLine(255)};
    QTest::newRow("after output") << QByteArray("says-and-exits-3")
                                  << QStringList{u"one"_s, u"two"_s, exitLine(3)};
    QTest::newRow("abort") << QByteArray("crash") << QStringList{u"hello"_s, exitLine(SIGABRT)};
    QTest::newRow("kill") << QByteArray("killed") << QStringList{exitLine(SIGKILL)};
}

void ServerControllerTest::everyExitIsTold()
{
    QFETCH(const QByteArray, behaviour);
    QFETCH(const QStringList, lines);
    const rlimit none = {0, 0};
    ::setrlimit(RLIMIT_CORE, &none); // no core file is left behind
    serverIs(behaviour.constData());
    m_controller->start();
    QTRY_VERIFY(!m_controller->isStarting() && !m_controller->isRunning());
    QCOMPARE(log(), QStringList{startLine} + lines);
    QCOMPARE(m_sleep->calls.last(), u"release 7"_s);
}

void ServerControllerTest::theTerminateSignalIsStatus15()
{
    startAndWaitUntilRunning("hello");
    m_controller->stop();
    QVERIFY(m_controller->isRunning());
    QCOMPARE(log().last(), stoppingLine);
    QCOMPARE(m_sleep->calls.size(), 1);
    QTRY_VERIFY(!m_controller->isRunning());
    QCOMPARE(log().last(), exitLine(15));
}

void ServerControllerTest::aServerThatCatchesTheSignalHasStopped()
{
    startAndWaitUntilRunning("graceful");
    m_controller->stop();
    QTRY_VERIFY(!m_controller->isRunning());
    QCOMPARE(log().last(), stoppedLine);
}

void ServerControllerTest::lastWordsComeBeforeTheExitLine()
{
    startAndWaitUntilRunning("last-words");
    m_controller->stop();
    QTRY_VERIFY(!m_controller->isRunning());
    QCOMPARE(log(), (QStringList{startLine, u"hello"_s, stoppingLine, u"goodbye"_s, stoppedLine}));
}

void ServerControllerTest::aServerThatIgnoresTheSignalStaysRunning()
{
    startAndWaitUntilRunning("stubborn");
    m_controller->stop();
    m_controller->stop();
    QCOMPARE(log(), (QStringList{startLine, u"hello"_s, stoppingLine, stoppingLine}));
    QVERIFY(m_controller->isRunning());
    ::kill(childProcesses().constFirst(), SIGKILL);
    QTRY_VERIFY(!m_controller->isRunning());
    QCOMPARE(log().last(), exitLine(9));
}

void ServerControllerTest::stoppingAServerThatHasJustExitedLogsNothing()
{
    startAndWaitUntilRunning("hello");
    const pid_t pid = childProcesses().constFirst();
    ::kill(pid, SIGKILL);
    siginfo_t exit = {};
    QCOMPARE(::waitid(P_PID, static_cast<id_t>(pid), &exit, WEXITED | WNOWAIT | __WALL), 0);
    // It is gone, and no event has been handled since.
    m_controller->stop();
    QCOMPARE(log(), (QStringList{startLine, u"hello"_s}));
    QVERIFY(m_controller->isRunning());
    QTRY_VERIFY(!m_controller->isRunning());
    QCOMPARE(log().last(), exitLine(9));
}

void ServerControllerTest::aServerThatClosesItsOutputRunsOn()
{
    startAndWaitUntilRunning("closes-its-output");
    const pid_t pid = childProcesses().constFirst();
    QFile output(u"/proc/%1/fd/1"_s.arg(pid));
    QTRY_VERIFY(!QFileInfo(output.fileName()).isSymLink());
    QVERIFY(m_controller->isRunning());
    m_controller->stop();
    QTRY_VERIFY(!m_controller->isRunning());
    QCOMPARE(log(), (QStringList{startLine, u"hello"_s, stoppingLine, exitLine(15)}));
}

void ServerControllerTest::aGrandchildIsHeardAfterTheExit()
{
    serverIs("leaves-a-grandchild");
    m_controller->start();
    // Which of the two is noticed first, the exit or the grandchild's words, is chance.
    QTRY_COMPARE(log().size(), 4);
    QCOMPARE(log().mid(0, 2), (QStringList{startLine, u"from the parent"_s}));
    QVERIFY(log().contains(stoppedLine));
    QVERIFY(log().contains(u"from the grandchild"_s));
    QVERIFY(!m_controller->isRunning());
    QVERIFY(!m_controller->isStarting());
    QCOMPARE(m_sleep->calls.size(), 2);
}

void ServerControllerTest::aChatteringGrandchildDoesNotDelayTheExit()
{
    serverIs("leaves-a-chattering-grandchild");
    QSignalSpy lines(m_controller.get(), &ServerController::logLinesChanged);
    m_controller->start();
    QTRY_VERIFY(!m_controller->isStarting() && !m_controller->isRunning());
    QVERIFY(log().last() != u"from the grandchild"_s);
    QTRY_COMPARE_WITH_TIMEOUT(log().last(), u"from the grandchild"_s, 60'000);
    QCOMPARE(log().size(), 500);
}

void ServerControllerTest::aTerminalTakesNoServerAlong_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("it is closed") << SIGHUP;
    QTest::newRow("Ctrl+C is pressed in it") << SIGINT;
}

void ServerControllerTest::aTerminalTakesNoServerAlong()
{
    QFETCH(const int, signal);
    serverIs("graceful");
    QCOMPARE(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0); // the server comes to us when it is orphaned
    const QByteArray server = QFile::encodeName(*m_server);
    int terminal = -1;
    const pid_t launcher = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (launcher == 0) {
        ::execl(SERVER_LAUNCHER, SERVER_LAUNCHER, server.constData(), nullptr);
        ::_exit(127);
    }
    QByteArray said;
    std::array<char, 64> bytes = {};
    while (!said.contains("hello")) {
        const ssize_t count = ::read(terminal, bytes.data(), bytes.size());
        QVERIFY(count > 0);
        said.append(bytes.data(), count);
    }
    if (signal == SIGINT) {
        QCOMPARE(::write(terminal, "\x03", 1), ssize_t{1});
    } else {
        ::close(terminal);
    }
    int status = 0;
    QCOMPARE(::waitpid(launcher, &status, 0), launcher);
    QVERIFY(WIFSIGNALED(status));
    QCOMPARE(WTERMSIG(status), signal);
    QCOMPARE(childProcesses().size(), 1);
    const pid_t orphan = childProcesses().constFirst();
    // What the terminal sent it, if anything, is handled before this.
    QCOMPARE(::kill(orphan, SIGTERM), 0);
    QCOMPARE(::waitpid(orphan, &status, 0), orphan);
    QVERIFY2(WIFEXITED(status), qPrintable(u"signal %1"_s.arg(WTERMSIG(status))));
    if (signal == SIGINT) {
        ::close(terminal);
    }
    QCOMPARE(::prctl(PR_SET_CHILD_SUBREAPER, 0), 0);
}

void ServerControllerTest::aRunTakesItsStepsInOrder_data()
{
    QTest::addColumn<QByteArray>("behaviour");
    QTest::addColumn<QStringList>("steps");
    const QStringList start = {
        u"starting true"_s, u"inhibit Wingbell show is running"_s, startLine};
    const QStringList running = {
        u"running true"_s, u"starting false"_s, u"one"_s, exitLine(3), u"running false"_s};
    QTest::newRow("silent") << QByteArray("exit-2")
                            << start + QStringList{exitLine(2), u"starting false"_s} +
                                   QStringList{u"release 7"_s};
    QTest::newRow("heard") << QByteArray("says-one-and-exits-3")
                           << start + running + QStringList{u"release 7"_s};
}

void ServerControllerTest::aRunTakesItsStepsInOrder()
{
    QFETCH(const QByteArray, behaviour);
    QFETCH(const QStringList, steps);
    QStringList& taken = m_sleep->calls;
    const auto flag = [&taken](const QString& name, bool value) {
        taken.append(name + (value ? u" true"_s : u" false"_s));
    };
    ServerController* const server = m_controller.get();
    connect(server, &ServerController::logLinesChanged, this, [&] { taken.append(log().last()); });
    connect(server, &ServerController::isRunningChanged, this, [&] {
        flag(u"running"_s, server->isRunning());
    });
    connect(server, &ServerController::isStartingChanged, this, [&] {
        flag(u"starting"_s, server->isStarting());
    });
    serverIs(behaviour.constData());
    m_controller->start();
    QTRY_COMPARE(taken.last(), u"release 7"_s);
    QCOMPARE(taken, steps);
}

void ServerControllerTest::eachRunTakesAndReleasesOneInhibition()
{
    serverIs("exit-0");
    m_controller->start();
    QTRY_VERIFY(!m_controller->isStarting());
    m_sleep->nextIdentifier = 8;
    m_controller->start();
    QTRY_VERIFY(!m_controller->isStarting());
    const QString taken = u"inhibit Wingbell show is running"_s;
    QCOMPARE(m_sleep->calls, (QStringList{taken, u"release 7"_s, taken, u"release 8"_s}));
}

void ServerControllerTest::withoutAnIdentifierNothingIsReleased()
{
    m_sleep->nextIdentifier = 0;
    serverIs("exit-0");
    m_controller->start();
    QTRY_VERIFY(!m_controller->isStarting());
    QCOMPARE(m_sleep->calls, QStringList{u"inhibit Wingbell show is running"_s});
}

void ServerControllerTest::destroyingTheControllerEndsNeitherServerNorInhibition()
{
    startAndWaitUntilRunning("hello");
    const pid_t pid = childProcesses().constFirst();
    m_controller.reset();
    QCOMPARE(::kill(pid, 0), 0);
    siginfo_t exit = {};
    QCOMPARE(
        ::waitid(P_PID, static_cast<id_t>(pid), &exit, WEXITED | WNOHANG | WNOWAIT | __WALL), 0);
    QCOMPARE(exit.si_pid, 0);
    QCOMPARE(m_sleep->calls.size(), 1);
    ::kill(pid, SIGTERM);
    QTRY_VERIFY(childProcesses().isEmpty());
    QCOMPARE(m_sleep->calls.size(), 1);
}

void ServerControllerTest::outputIsDrainedWithoutAController()
{
    // The server can end by itself only if its 64 megabytes are read.
    serverIs("flood");
    m_controller->start();
    m_controller.reset();
    QTRY_VERIFY_WITH_TIMEOUT(childProcesses().isEmpty(), 60'000);
}

void ServerControllerTest::changesAreToldOncePerValue()
{
    QSignalSpy running(m_controller.get(), &ServerController::isRunningChanged);
    QSignalSpy starting(m_controller.get(), &ServerController::isStartingChanged);
    QSignalSpy lines(m_controller.get(), &ServerController::logLinesChanged);
    startAndWaitUntilRunning("hello");
    QCOMPARE(running.size(), 1);
    QCOMPARE(starting.size(), 2);
    QCOMPARE(lines.size(), 2); // an empty log cleared again is no change
    m_controller->start();
    m_controller->stop();
    QTRY_VERIFY(!m_controller->isRunning());
    QCOMPARE(running.size(), 2);
    QCOMPARE(starting.size(), 2);
    QCOMPARE(lines.size(), 4);
}

void ServerControllerTest::aFloodLeavesTheWindowAnswering_data()
{
    QTest::addColumn<QByteArray>("behaviour");
    QTest::newRow("lines") << QByteArray("flood");
    QTest::newRow("no line feed") << QByteArray("no-line-feed");
}

void ServerControllerTest::aFloodLeavesTheWindowAnswering()
{
    QFETCH(const QByteArray, behaviour);
    serverIs(behaviour.constData());
    int heartbeats = 0;
    QTimer heart;
    connect(&heart, &QTimer::timeout, this, [&heartbeats] { ++heartbeats; });
    heart.start(1);
    m_controller->start();
    QTRY_VERIFY_WITH_TIMEOUT(!m_controller->isStarting() && !m_controller->isRunning(), 60'000);
    QVERIFY2(heartbeats > 5, "timers are served between chunks");
    QCOMPARE(log().last(), stoppedLine);
    QVERIFY(log().size() <= 501);
    // What is kept is bounded whatever was said: so many lines of at most one pipeful each.
    constexpr qsizetype pipeful = 64LL * 1024;
    for (const QString& line : log()) {
        QVERIFY(line.size() <= pipeful);
    }
}

void ServerControllerTest::randomBytesAreSurvived()
{
    serverIs("random-bytes");
    m_controller->start();
    QTRY_VERIFY_WITH_TIMEOUT(!m_controller->isStarting() && !m_controller->isRunning(), 60'000);
    QCOMPARE(log().mid(log().size() - 2), (QStringList{u"end"_s, stoppedLine}));
}

void ServerControllerTest::runManyTimes(int times, const char* behaviour)
{
    serverIs(behaviour);
    for (int run = 0; run < times; ++run) {
        m_controller->start();
        while (m_controller->isStarting()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        m_controller->stop();
        while (m_controller->isRunning()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        QCOMPARE(m_sleep->calls.size(), 2);
        m_sleep->calls.clear();
    }
    QTRY_VERIFY(childProcesses().isEmpty());
    // The last run's pipe is closed when its end is read, and that may come after the exit.
    while (QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents)) {
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

/// What a thousand runs may not add to: descriptors, children (the dead ones included) and memory.
void ServerControllerTest::expectNothingLeftBehindBy(const char* behaviour)
{
    constexpr int untilAllCachesAreFilled = 20;
    constexpr int many = 1000;
    constexpr size_t smallestBlock = 32; // of the heap: no leak a run is less
    runManyTimes(untilAllCachesAreFilled, behaviour);
    const qint64 descriptors = openDescriptors();
    const size_t bytes = ::mallinfo2().uordblks;
    runManyTimes(many, behaviour);
    QTRY_VERIFY2(
        openDescriptors() <= descriptors,
        qPrintable(QStringLiteral("%1 instead of %2").arg(openDescriptors()).arg(descriptors)));
    QVERIFY(::mallinfo2().uordblks < bytes + many * smallestBlock);
}

void ServerControllerTest::aThousandRunsLeaveNothingBehind()
{
    expectNothingLeftBehindBy("says-and-exits-3");
}

void ServerControllerTest::aThousandStopsLeaveNothingBehind()
{
    expectNothingLeftBehindBy("hello");
}

void ServerControllerTest::aServerThatWasReplacedRunsAtTheNextStart()
{
    const QString path = m_folder->filePath(u"IntercomServer"_s);
    const auto install = [&path](const QString& word) {
        QFile file(path + u".new");
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\necho " + word.toUtf8() + "\nexec sleep infinity\n");
        file.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
        file.close();
        QCOMPARE(
            ::rename(
                QFile::encodeName(file.fileName()).constData(),
                QFile::encodeName(path).constData()),
            0);
    };
    install(u"old"_s);
    m_server = path;
    m_controller->start();
    QTRY_COMPARE(log().value(1), u"old"_s);
    install(u"new"_s);
    QVERIFY(m_controller->isRunning());
    m_controller->stop();
    QTRY_VERIFY(!m_controller->isRunning());
    m_controller->start();
    QTRY_COMPARE(log().value(1), u"new"_s);
}

WINGBELL_GUILESS_TEST(ServerControllerTest)
#include "ServerControllerTest.moc"
