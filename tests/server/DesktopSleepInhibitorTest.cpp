#include "desktop/DesktopSleepInhibitor.h"
#include "tests/TestProgram.h"
#include "tests/bus/MockService.h"
#include "tests/bus/PrivateBus.h"

#include <QAbstractEventDispatcher>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <vector>

// Generous: what is waited for takes milliseconds, unless the machine is busy.
#define EVENTUALLY_COMPARE(actual, expected) QTRY_COMPARE_WITH_TIMEOUT(actual, expected, 30000)
#define EVENTUALLY(condition) QTRY_VERIFY_WITH_TIMEOUT(condition, 30000)

namespace wingbell {

namespace {

constexpr std::chrono::milliseconds patient = std::chrono::hours(1);
constexpr std::chrono::milliseconds impatient = std::chrono::seconds(1);

QString reason()
{
    return QStringLiteral("A show is running");
}

const QString sessionInhibit = QString::fromUtf8(
    R"(org.gnome.SessionManager.Inhibit("WingbellControl", 0, "A show is running", 4))");
const QString powerInhibit = QString::fromUtf8(
    R"(org.freedesktop.PowerManagement.Inhibit.Inhibit("WingbellControl", "A show is running"))");
const QString loginInhibit = QString::fromUtf8(
    R"(org.freedesktop.login1.Manager.Inhibit("sleep", "WingbellControl", "A show is running", "block"))");
const QString callerLeft = QStringLiteral("caller left");
const QString lockClosed = QStringLiteral("lock closed");

QString sessionUninhibit(int cookie)
{
    return QStringLiteral("org.gnome.SessionManager.Uninhibit(%1)").arg(cookie);
}

QString powerUninhibit(int cookie)
{
    return QStringLiteral("org.freedesktop.PowerManagement.Inhibit.UnInhibit(%1)").arg(cookie);
}

QStringList behaviour(const char* name)
{
    return {QStringLiteral("--behaviour"), QString::fromLatin1(name)};
}

QStringList cookie(int first)
{
    return {QStringLiteral("--cookie"), QString::number(first)};
}

/// A log in an order that does not depend on which of two channels was read first.
QStringList sorted(QStringList log)
{
    log.sort();
    return log;
}

/// The usual services, which may take that long.
std::vector<SleepService>
services(std::chrono::milliseconds onSessionBus, std::chrono::milliseconds onSystemBus)
{
    std::vector<SleepService> list = sleepServices();
    for (SleepService& service : list) {
        service.timeout = service.bus == BusConnection::Bus::Session ? onSessionBus : onSystemBus;
    }
    return list;
}

/// Gives up on the session bus soon, on the system bus hardly ever.
std::vector<SleepService> servicesForAHungSession()
{
    return services(impatient, patient);
}

/// A socket that lets everybody connect and never says a word.
class HungBus
{
public:
    HungBus()
    {
        m_listens = ::bind(m_socket.get(), where(), sizeof(m_address)) == 0 &&
                    ::listen(m_socket.get(), 0) == 0;
    }

    [[nodiscard]] bool listens() const { return m_listens; }
    [[nodiscard]] QByteArray address() const { return "unix:path=" + path(); }

    /// Connects until a further connection would have to wait.
    [[nodiscard]] bool fill()
    {
        do {
            m_clients.emplace_back(
                ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        } while (::connect(m_clients.back().get(), where(), sizeof(m_address)) == 0);
        return errno == EAGAIN;
    }

private:
    [[nodiscard]] QByteArray path() const
    {
        return QFile::encodeName(m_directory.filePath(QStringLiteral("bus")));
    }
    [[nodiscard]] const sockaddr* where()
    {
        m_address.sun_family = AF_UNIX;
        const QByteArray bytes = path();
        std::copy(bytes.begin(), bytes.end(), std::begin(m_address.sun_path));
        return reinterpret_cast<const sockaddr*>(&m_address);
    }

    QTemporaryDir m_directory;
    sockaddr_un m_address = {};
    FileDescriptor m_socket{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    std::vector<FileDescriptor> m_clients;
    bool m_listens = false;
};

QStringList openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
}

bool isClosedInNewPrograms(const QString& descriptor)
{
    const int flags = ::fcntl(descriptor.toInt(), F_GETFD);
    return flags < 0 || (flags & FD_CLOEXEC) != 0; // one is gone: that of reading the list
}

QList<qint64> childProcesses()
{
    QList<qint64> children;
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file(tasks.filePath(task + QStringLiteral("/children")));
        if (file.open(QIODevice::ReadOnly)) {
            for (const QByteArray& child : file.readAll().simplified().split(' ')) {
                children.append(child.toLongLong());
            }
        }
    }
    std::sort(children.begin(), children.end());
    return children;
}

/// True when the event loop has nothing to do at this moment.
bool eventLoopIsIdle()
{
    return !QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents);
}

} // namespace

class DesktopSleepInhibitorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_session.emplace();
        m_system.emplace();
        QVERIFY(m_session->isRunning());
        QVERIFY(m_system->isRunning());
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_session->address());
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_system->address());
    }

    void cleanup()
    {
        m_session.reset();
        m_system.reset();
    }

    // Which service, and how.

    void theSessionManagerIsAskedToForbidSuspendingOnly()
    {
        MockService sessionManager(*m_session, QStringLiteral("session-manager"));
        MockService powerManager(*m_session, QStringLiteral("power-management"));
        MockService screenSaver(*m_session, QStringLiteral("screen-saver"));
        MockService login(*m_system, QStringLiteral("logind"));
        DesktopSleepInhibitor inhibitor;
        takeAndRelease(inhibitor, sessionManager, sessionInhibit);
        QCOMPARE(
            sessionManager.finish(),
            QStringList({sessionInhibit, sessionUninhibit(4711), callerLeft}));
        QCOMPARE(powerManager.finish(), QStringList());
        QCOMPARE(screenSaver.finish(), QStringList());
        QCOMPARE(login.finish(), QStringList());
    }

    void thePowerManagerIsTheSecondChoice()
    {
        MockService powerManager(*m_session, QStringLiteral("power-management"), cookie(99));
        MockService screenSaver(*m_session, QStringLiteral("screen-saver"));
        MockService login(*m_system, QStringLiteral("logind"));
        DesktopSleepInhibitor inhibitor;
        takeAndRelease(inhibitor, powerManager, powerInhibit);
        QCOMPARE(
            powerManager.finish(), QStringList({powerInhibit, powerUninhibit(99), callerLeft}));
        QCOMPARE(screenSaver.finish(), QStringList());
        QCOMPARE(login.finish(), QStringList());
    }

    void theLoginManagerIsTheThirdChoice()
    {
        MockService screenSaver(*m_session, QStringLiteral("screen-saver"));
        MockService login(*m_system, QStringLiteral("logind"));
        DesktopSleepInhibitor inhibitor;
        takeAndRelease(inhibitor, login, loginInhibit);
        QCOMPARE(sorted(login.finish()), QStringList({callerLeft, lockClosed, loginInhibit}));
        QCOMPARE(screenSaver.finish(), QStringList());
    }

    void theLockOfTheLoginManagerIsNotInheritedByPrograms()
    {
        MockService login(*m_system, QStringLiteral("logind"));
        const QStringList before = openDescriptors();
        DesktopSleepInhibitor inhibitor({sleepServices().back()});
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY(openDescriptors().count() == before.count() + 2); // the connection, the lock
        for (const QString& descriptor : openDescriptors()) {
            QVERIFY(before.contains(descriptor) || isClosedInNewPrograms(descriptor));
        }
        releaseAll(inhibitor, {identifier});
        QCOMPARE(openDescriptors(), before);
    }

    // Taking and releasing once.

    void everyWishIsTakenAndReleasedOnce()
    {
        MockService sessionManager(*m_session, QStringLiteral("session-manager"));
        DesktopSleepInhibitor inhibitor;
        takeAndRelease(inhibitor, sessionManager, sessionInhibit);
        EVENTUALLY(sessionManager.log().contains(callerLeft));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(sessionManager.log().count(sessionInhibit), 2);
        releaseAll(inhibitor, {identifier});
        QCOMPARE(
            sessionManager.finish(), QStringList(
                                         {sessionInhibit, sessionUninhibit(4711), callerLeft,
                                          sessionInhibit, sessionUninhibit(4712), callerLeft}));
    }

    void wishesAtTheSameTimeAreKeptApart()
    {
        MockService sessionManager(*m_session, QStringLiteral("session-manager"));
        DesktopSleepInhibitor inhibitor;
        const quint32 first = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(sessionManager.log().count(sessionInhibit), 1);
        const quint32 second = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(sessionManager.log().count(sessionInhibit), 2);
        QVERIFY(first != second);
        inhibitor.release(second);
        EVENTUALLY(sessionManager.log().contains(sessionUninhibit(4712)));
        QVERIFY(!sessionManager.log().contains(sessionUninhibit(4711)));
        releaseAll(inhibitor, {first});
        QCOMPARE(sessionManager.finish().count(sessionUninhibit(4711)), 1);
    }

    void releasingTwiceReleasesOnce()
    {
        MockService sessionManager(*m_session, QStringLiteral("session-manager"));
        DesktopSleepInhibitor inhibitor;
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(sessionManager.log(), QStringList{sessionInhibit});
        releaseAll(inhibitor, {identifier, identifier, identifier + 1, 0});
        QCOMPARE(
            sessionManager.finish(),
            QStringList({sessionInhibit, sessionUninhibit(4711), callerLeft}));
    }

    void aGrantAfterTheReleaseIsGivenBack()
    {
        MockService sessionManager(
            *m_session, QStringLiteral("session-manager"), behaviour("hang"));
        DesktopSleepInhibitor inhibitor(services(patient, patient));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(sessionManager.log(), QStringList{sessionInhibit});
        inhibitor.release(identifier);
        sessionManager.answer();
        EVENTUALLY(sessionManager.log().contains(sessionUninhibit(4711)));
        sessionManager.answer(); // the release hangs as well
        EVENTUALLY(inhibitor.children().isEmpty());
        QCOMPARE(sessionManager.finish().count(sessionUninhibit(4711)), 1);
    }

    void aLockGrantedAfterTheReleaseIsClosed()
    {
        MockService login(*m_system, QStringLiteral("logind"), behaviour("hang"));
        DesktopSleepInhibitor inhibitor(services(patient, patient));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(login.log(), QStringList{loginInhibit});
        inhibitor.release(identifier);
        login.answer();
        EVENTUALLY(login.log().contains(lockClosed));
        EVENTUALLY(inhibitor.children().isEmpty());
    }

    void aReleaseRightAfterTheWishLeavesNothingHeld()
    {
        MockService sessionManager(*m_session, QStringLiteral("session-manager"));
        DesktopSleepInhibitor inhibitor;
        releaseAll(inhibitor, {inhibitor.inhibit(reason())});
        const QStringList log = sessionManager.finish();
        QCOMPARE(log.count(sessionInhibit), log.count(sessionUninhibit(4711)));
    }

    void aServiceThatNeitherGrantsNorAnswersTheReleaseIsLeft()
    {
        MockService sessionManager(
            *m_session, QStringLiteral("session-manager"), behaviour("hang"));
        DesktopSleepInhibitor inhibitor(services(impatient, impatient));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(sessionManager.log(), QStringList{sessionInhibit});
        releaseAll(inhibitor, {identifier});
        EVENTUALLY_COMPARE(sessionManager.log(), QStringList({sessionInhibit, callerLeft}));
    }

    void aReleaseThatIsNotConfirmedEndsAllTheSame()
    {
        MockService sessionManager(
            *m_session, QStringLiteral("session-manager"), behaviour("hang-on-release"));
        DesktopSleepInhibitor inhibitor(services(impatient, impatient));
        takeAndRelease(inhibitor, sessionManager, sessionInhibit);
        QCOMPARE(
            sessionManager.finish(),
            QStringList({sessionInhibit, sessionUninhibit(4711), callerLeft}));
    }

    void destroyingTheInhibitorDropsItsConnection()
    {
        MockService sessionManager(*m_session, QStringLiteral("session-manager"));
        {
            DesktopSleepInhibitor inhibitor;
            (void)inhibitor.inhibit(reason());
            EVENTUALLY_COMPARE(sessionManager.log(), QStringList{sessionInhibit});
        }
        EVENTUALLY_COMPARE(sessionManager.log(), QStringList({sessionInhibit, callerLeft}));
    }

    void afterTheReleaseNothingStaysOpen()
    {
        MockService login(*m_system, QStringLiteral("logind"));
        const QStringList before = openDescriptors();
        DesktopSleepInhibitor inhibitor;
        takeAndRelease(inhibitor, login, loginInhibit);
        QCOMPARE(openDescriptors(), before);
        EVENTUALLY(eventLoopIsIdle());
    }

    // What goes wrong.

    void aServiceThatFailsIsPassedOver_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::newRow("refuses") << behaviour("refuse");
        QTest::newRow("answers nonsense") << behaviour("grant-nonsense");
        QTest::newRow("crashes") << behaviour("crash");
    }
    void aServiceThatFailsIsPassedOver()
    {
        QFETCH(QStringList, options);
        MockService sessionManager(*m_session, QStringLiteral("session-manager"), options);
        MockService login(*m_system, QStringLiteral("logind"));
        DesktopSleepInhibitor inhibitor(services(patient, patient));
        takeAndRelease(inhibitor, login, loginInhibit);
        QCOMPARE(sessionManager.finish().count(sessionInhibit), 1);
        QVERIFY(!sessionManager.log().contains(sessionUninhibit(4711)));
    }

    void aHungServiceIsPassedOver()
    {
        MockService sessionManager(
            *m_session, QStringLiteral("session-manager"), behaviour("hang"));
        MockService login(*m_system, QStringLiteral("logind"));
        DesktopSleepInhibitor inhibitor(servicesForAHungSession());
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(login.log(), QStringList{loginInhibit});
        // The connection it was asked on is closed, so that a late grant holds nothing.
        EVENTUALLY_COMPARE(sessionManager.log(), QStringList({sessionInhibit, callerLeft}));
        sessionManager.answer();
        releaseAll(inhibitor, {identifier});
        QCOMPARE(
            sessionManager.finish(),
            QStringList({sessionInhibit, callerLeft, QStringLiteral("answered")}));
    }

    void aHungServiceIsAskedAgainWhenItRestarts()
    {
        MockService login(*m_system, QStringLiteral("logind"));
        DesktopSleepInhibitor inhibitor(servicesForAHungSession());
        {
            MockService hung(*m_session, QStringLiteral("session-manager"), behaviour("hang"));
            (void)inhibitor.inhibit(reason());
            EVENTUALLY_COMPARE(login.log(), QStringList{loginInhibit});
        }
        MockService restarted(*m_session, QStringLiteral("session-manager"));
        EVENTUALLY_COMPARE(restarted.log(), QStringList{sessionInhibit});
        EVENTUALLY(login.log().contains(lockClosed));
    }

    void aHungBusIsPassedOver()
    {
        const HungBus hung;
        QVERIFY(hung.listens());
        qputenv("DBUS_SESSION_BUS_ADDRESS", hung.address());
        MockService login(*m_system, QStringLiteral("logind"));
        DesktopSleepInhibitor inhibitor(servicesForAHungSession());
        takeAndRelease(inhibitor, login, loginInhibit);
        QCOMPARE(sorted(login.finish()), QStringList({callerLeft, lockClosed, loginInhibit}));
    }

    void aBusThatHasNoRoomForAnotherConnectionIsPassedOver()
    {
        HungBus full;
        QVERIFY(full.listens());
        QVERIFY(full.fill());
        qputenv("DBUS_SESSION_BUS_ADDRESS", full.address());
        MockService login(*m_system, QStringLiteral("logind"));
        DesktopSleepInhibitor inhibitor(services(patient, patient));
        takeAndRelease(inhibitor, login, loginInhibit);
    }

    void whateverHangsTheEventLoopGoesOn_data()
    {
        QTest::addColumn<bool>("wholeBus");
        QTest::newRow("the service hangs") << false;
        QTest::newRow("the bus hangs") << true;
    }
    void whateverHangsTheEventLoopGoesOn()
    {
        QFETCH(bool, wholeBus);
        MockService sessionManager(
            *m_session, QStringLiteral("session-manager"), behaviour("hang"));
        const HungBus hung;
        QVERIFY(hung.listens());
        if (wholeBus) {
            qputenv("DBUS_SESSION_BUS_ADDRESS", hung.address());
        }
        DesktopSleepInhibitor inhibitor(services(patient, patient));
        QTimer heartbeat;
        QSignalSpy beats(&heartbeat, &QTimer::timeout);
        heartbeat.start(1);
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY(wholeBus || sessionManager.log() == QStringList{sessionInhibit});
        beats.clear();
        EVENTUALLY(beats.count() >= 5);
        inhibitor.release(identifier);
        beats.clear();
        EVENTUALLY(beats.count() >= 5);
        QVERIFY(!inhibitor.children().isEmpty()); // still waiting, and dropped without an answer
    }

    void withoutAnyServiceAReleaseCallsNothing()
    {
        MockService screenSaver(*m_session, QStringLiteral("screen-saver"));
        DesktopSleepInhibitor inhibitor(services(patient, patient));
        const quint32 identifier = inhibitor.inhibit(reason());
        QVERIFY(identifier != 0);
        EVENTUALLY(allWereAsked(inhibitor));
        EVENTUALLY(eventLoopIsIdle());
        releaseAll(inhibitor, {identifier});
        QCOMPARE(screenSaver.finish(), QStringList());
    }

    void aSessionWithoutAUsableBusIsPassedOver_data()
    {
        QTest::addColumn<QByteArray>("address");
        QTest::newRow("unset") << QByteArray();
        QTest::newRow("empty") << QByteArray("");
        QTest::newRow("no address") << QByteArray("\xff\xfe nonsense;;=%zz:");
        QTest::newRow("no socket") << QByteArray("unix:path=/nonexistent/bus");
        QTest::newRow("half an address") << QByteArray("unix:");
        QTest::newRow("launches a bus") << QByteArray("autolaunch:");
        QTest::newRow("launches a program")
            << QByteArray("unixexec:path=/bin/sh,argv1=-c,argv2=exec sleep 1000");
        QTest::newRow("another host") << QByteArray("tcp:host=bus.invalid,port=1");
    }
    void aSessionWithoutAUsableBusIsPassedOver()
    {
        QFETCH(QByteArray, address);
        // Whatever is started comes to light as a child of ours, also when its parent has ended.
        QCOMPARE(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
        const QTemporaryDir emptyRuntime;
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(emptyRuntime.path()));
        qputenv("DISPLAY", ":4711");
        if (address.isNull()) {
            qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        } else {
            qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        }
        MockService login(*m_system, QStringLiteral("logind"));
        const QList<qint64> before = childProcesses();
        QVERIFY(before.contains(login.processId()));
        DesktopSleepInhibitor inhibitor(services(patient, patient));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(login.log(), QStringList{loginInhibit});
        QCOMPARE(childProcesses(), before);
        releaseAll(inhibitor, {identifier});
        QCOMPARE(childProcesses(), before);
    }

    void theSessionBusAtItsUsualPlaceNeedsNoAddress()
    {
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_session->directory()));
        MockService sessionManager(*m_session, QStringLiteral("session-manager"));
        DesktopSleepInhibitor inhibitor;
        takeAndRelease(inhibitor, sessionManager, sessionInhibit);
    }

    void theFirstAddressThatAnswersIsUsed()
    {
        qputenv(
            "DBUS_SESSION_BUS_ADDRESS",
            QByteArray("tcp:host=bus.invalid,port=1;unix:path=/nonexistent/bus;")
                .append(m_session->address()));
        MockService sessionManager(*m_session, QStringLiteral("session-manager"));
        DesktopSleepInhibitor inhibitor;
        takeAndRelease(inhibitor, sessionManager, sessionInhibit);
    }

    void noServiceIsLaunched()
    {
        const QString mark = m_session->directory() + QStringLiteral("/launched");
        for (const char* name :
             {"org.gnome.SessionManager", "org.freedesktop.PowerManagement",
              "org.freedesktop.ScreenSaver"}) {
            QVERIFY(m_session->addLaunchable(
                QString::fromLatin1(name), QStringLiteral("touch %1; exit 1").arg(mark)));
        }
        MockService login(*m_system, QStringLiteral("logind"));
        DesktopSleepInhibitor inhibitor;
        takeAndRelease(inhibitor, login, loginInhibit);
        QVERIFY(!QFile::exists(mark));
    }

    // Services and buses that come and go.

    void aRestartedServiceIsAskedAgain()
    {
        DesktopSleepInhibitor inhibitor;
        MockService first(*m_session, QStringLiteral("session-manager"));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(first.log(), QStringList{sessionInhibit});
        first.kill();
        MockService second(*m_session, QStringLiteral("session-manager"), cookie(50));
        EVENTUALLY_COMPARE(second.log(), QStringList{sessionInhibit});
        releaseAll(inhibitor, {identifier});
        QCOMPARE(second.finish(), QStringList({sessionInhibit, sessionUninhibit(50), callerLeft}));
    }

    /// As XFCE's power manager is for a moment each time it starts.
    void aServiceThatHasItsNameBeforeItsMethodsIsAskedAgain()
    {
        DesktopSleepInhibitor inhibitor;
        MockService manager(*m_session, QStringLiteral("power-management"), behaviour("unready"));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY(manager.log().count(powerInhibit) >= 2);
        manager.answer();
        EVENTUALLY(manager.log().contains(QStringLiteral("answered")));
        EVENTUALLY(manager.log().last() == powerInhibit);
        releaseAll(inhibitor, {identifier});
        QVERIFY(manager.finish().contains(powerUninhibit(4711)));
    }

    void aServiceWithoutItsMethodsIsLeftByTheRelease()
    {
        DesktopSleepInhibitor inhibitor;
        MockService manager(*m_session, QStringLiteral("power-management"), behaviour("unready"));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY(manager.log().count(powerInhibit) >= 2);
        releaseAll(inhibitor, {identifier});
        const QStringList log = manager.finish();
        QCOMPARE(log.count(callerLeft), log.count(powerInhibit));
    }

    void aRestartedLoginManagerIsAskedAgain()
    {
        DesktopSleepInhibitor inhibitor;
        MockService first(*m_system, QStringLiteral("logind"));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(first.log(), QStringList{loginInhibit});
        first.kill();
        MockService second(*m_system, QStringLiteral("logind"));
        EVENTUALLY_COMPARE(second.log(), QStringList{loginInhibit});
        releaseAll(inhibitor, {identifier});
        QCOMPARE(sorted(second.finish()), QStringList({callerLeft, lockClosed, loginInhibit}));
    }

    void theSuccessorOfAHolderIsAskedAndTheHolderLeft()
    {
        DesktopSleepInhibitor inhibitor;
        MockService first(*m_session, QStringLiteral("session-manager"));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(first.log(), QStringList{sessionInhibit});
        MockService second(*m_session, QStringLiteral("session-manager"), cookie(50));
        EVENTUALLY_COMPARE(second.log(), QStringList{sessionInhibit});
        EVENTUALLY_COMPARE(first.log(), QStringList({sessionInhibit, callerLeft}));
        releaseAll(inhibitor, {identifier});
        QCOMPARE(second.finish(), QStringList({sessionInhibit, sessionUninhibit(50), callerLeft}));
    }

    void theGrantOfAServiceThatWasReplacedDoesNotCount()
    {
        DesktopSleepInhibitor inhibitor(services(patient, patient));
        MockService first(*m_session, QStringLiteral("session-manager"), behaviour("hang"));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(first.log(), QStringList{sessionInhibit});
        MockService second(*m_session, QStringLiteral("session-manager"), cookie(50));
        first.answer();
        EVENTUALLY_COMPARE(second.log(), QStringList{sessionInhibit});
        releaseAll(inhibitor, {identifier});
        QCOMPARE(second.finish(), QStringList({sessionInhibit, sessionUninhibit(50), callerLeft}));
        QVERIFY(!first.finish().contains(sessionUninhibit(4711)));
    }

    void aServiceThatAppearsIsTaken_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<bool>("onSessionBus");
        QTest::addColumn<QString>("inhibit");
        QTest::newRow("session manager")
            << QStringLiteral("session-manager") << true << sessionInhibit;
        QTest::newRow("power manager")
            << QStringLiteral("power-management") << true << powerInhibit;
        QTest::newRow("login manager") << QStringLiteral("logind") << false << loginInhibit;
    }
    void aServiceThatAppearsIsTaken()
    {
        QFETCH(QString, service);
        QFETCH(bool, onSessionBus);
        QFETCH(QString, inhibit);
        DesktopSleepInhibitor inhibitor(services(patient, patient));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY(allWereAsked(inhibitor));
        MockService mock(onSessionBus ? *m_session : *m_system, service);
        EVENTUALLY_COMPARE(mock.log(), QStringList{inhibit});
        releaseAll(inhibitor, {identifier});
        QCOMPARE(mock.finish().count(inhibit), 1);
    }

    void aPreferredServiceThatAppearsTakesOver()
    {
        MockService login(*m_system, QStringLiteral("logind"));
        DesktopSleepInhibitor inhibitor;
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(login.log(), QStringList{loginInhibit});
        MockService sessionManager(*m_session, QStringLiteral("session-manager"));
        EVENTUALLY_COMPARE(sessionManager.log(), QStringList{sessionInhibit});
        EVENTUALLY_COMPARE(
            sorted(login.log()), QStringList({callerLeft, lockClosed, loginInhibit}));
        releaseAll(inhibitor, {identifier});
        QCOMPARE(
            sessionManager.finish(),
            QStringList({sessionInhibit, sessionUninhibit(4711), callerLeft}));
        QCOMPARE(login.finish().count(loginInhibit), 1);
    }

    void theHolderStaysWhenAPreferredServiceRefuses()
    {
        MockService login(*m_system, QStringLiteral("logind"));
        DesktopSleepInhibitor inhibitor;
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(login.log(), QStringList{loginInhibit});
        MockService powerManager(
            *m_session, QStringLiteral("power-management"), behaviour("refuse"));
        EVENTUALLY_COMPARE(powerManager.log(), QStringList{powerInhibit});
        EVENTUALLY(eventLoopIsIdle());
        QCOMPARE(login.log(), QStringList{loginInhibit});
        releaseAll(inhibitor, {identifier});
        QCOMPARE(login.finish().count(loginInhibit), 1);
    }

    void whatALesserServiceGrantsTooLateIsGivenBack()
    {
        MockService powerManager(*m_session, QStringLiteral("power-management"), behaviour("hang"));
        DesktopSleepInhibitor inhibitor(services(patient, patient));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(powerManager.log(), QStringList{powerInhibit});
        MockService sessionManager(*m_session, QStringLiteral("session-manager"));
        EVENTUALLY_COMPARE(sessionManager.log(), QStringList{sessionInhibit});
        powerManager.answer();
        EVENTUALLY(powerManager.log().contains(powerUninhibit(4711)));
        powerManager.answer();
        releaseAll(inhibitor, {identifier});
        QCOMPARE(sessionManager.finish().count(sessionInhibit), 1);
    }

    void anotherServiceStepsInWhenTheHolderIsGone()
    {
        MockService login(*m_system, QStringLiteral("logind"));
        MockService sessionManager(*m_session, QStringLiteral("session-manager"));
        DesktopSleepInhibitor inhibitor;
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(sessionManager.log(), QStringList{sessionInhibit});
        sessionManager.kill();
        EVENTUALLY_COMPARE(login.log(), QStringList{loginInhibit});
        releaseAll(inhibitor, {identifier});
    }

    void aReleaseToAServiceThatIsGoneIsNoMatter()
    {
        MockService sessionManager(*m_session, QStringLiteral("session-manager"));
        DesktopSleepInhibitor inhibitor(services(patient, patient));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(sessionManager.log(), QStringList{sessionInhibit});
        sessionManager.kill();
        releaseAll(inhibitor, {identifier});
    }

    void anotherServiceStepsInWhenTheSessionBusDies()
    {
        MockService login(*m_system, QStringLiteral("logind"));
        MockService sessionManager(*m_session, QStringLiteral("session-manager"));
        DesktopSleepInhibitor inhibitor(services(patient, patient));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(sessionManager.log(), QStringList{sessionInhibit});
        m_session->stop();
        EVENTUALLY_COMPARE(login.log(), QStringList{loginInhibit});
        EVENTUALLY(eventLoopIsIdle());
        releaseAll(inhibitor, {identifier});
    }

    void aReleaseAfterTheLastBusDiedIsNoMatter()
    {
        MockService login(*m_system, QStringLiteral("logind"));
        DesktopSleepInhibitor inhibitor(services(patient, patient));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(login.log(), QStringList{loginInhibit});
        m_session->stop();
        m_system->stop();
        EVENTUALLY(login.log().contains(lockClosed) || !login.isRunning());
        EVENTUALLY(eventLoopIsIdle());
        releaseAll(inhibitor, {identifier});
    }

    void aReleaseWhileTheBusDiesIsNoMatter()
    {
        MockService sessionManager(*m_session, QStringLiteral("session-manager"));
        DesktopSleepInhibitor inhibitor(services(patient, patient));
        const quint32 identifier = inhibitor.inhibit(reason());
        EVENTUALLY_COMPARE(sessionManager.log(), QStringList{sessionInhibit});
        m_session->stop();
        releaseAll(inhibitor, {identifier});
    }

private:
    /// Takes one inhibition, waits until `service` was asked for it, and releases it to the end.
    static void
    takeAndRelease(DesktopSleepInhibitor& inhibitor, MockService& service, const QString& inhibit)
    {
        QVERIFY(service.isRunning());
        const quint32 identifier = inhibitor.inhibit(reason());
        QVERIFY(identifier != 0);
        EVENTUALLY(service.log().contains(inhibit));
        releaseAll(inhibitor, {identifier});
    }

    static bool allWereAsked(const DesktopSleepInhibitor& inhibitor)
    {
        return static_cast<std::size_t>(inhibitor.children().size()) == sleepServices().size();
    }

    /// Releases and waits until nothing is left of the inhibitions.
    static void releaseAll(DesktopSleepInhibitor& inhibitor, const QList<quint32>& identifiers)
    {
        for (const quint32 identifier : identifiers) {
            inhibitor.release(identifier);
        }
        EVENTUALLY(inhibitor.children().isEmpty());
    }

    std::optional<PrivateBus> m_session;
    std::optional<PrivateBus> m_system;
};

WINGBELL_GUILESS_TEST(DesktopSleepInhibitorTest)

} // namespace wingbell

#include "DesktopSleepInhibitorTest.moc"
