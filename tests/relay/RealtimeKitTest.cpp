#include "relay/RealtimeKit.h"
#include "tests/TestProgram.h"
#include "tests/bus/MockService.h"
#include "tests/bus/PrivateBus.h"

#include <QTest>

#include <memory>
#include <optional>
#include <sys/resource.h>
#include <unistd.h>

using namespace wingbell;

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds longTimeout = 1h;
constexpr std::chrono::milliseconds shortTimeout = 100ms;

// Above the kernel's highest number of a thread: the mock changes none of ours.
constexpr pid_t first = 5'000'001;
constexpr pid_t second = 5'000'002;

const QString timeAsked = QString::fromUtf8(
    R"(org.freedesktop.DBus.Properties.Get("org.freedesktop.RealtimeKit1", "RTTimeUSecMax"))");
const QString priorityAsked = QString::fromUtf8(
    R"(org.freedesktop.DBus.Properties.Get("org.freedesktop.RealtimeKit1", "MaxRealtimePriority"))");

QString threadAsked(pid_t thread, int priority)
{
    return QStringLiteral("org.freedesktop.RealtimeKit1.MakeThreadRealtimeWithPID(%1, %2, %3)")
        .arg(::getpid())
        .arg(thread)
        .arg(priority);
}

/// Asks for two threads and counts the answers.
class Asking
{
public:
    explicit Asking(std::chrono::milliseconds timeout = longTimeout)
        : m_kit(
              {{first, 10}, {second, 9}}, [this](bool isGranted) { m_answers.append(isGranted); },
              timeout)
    {
    }

    [[nodiscard]] const QList<bool>& answers() const { return m_answers; }

private:
    QList<bool> m_answers;
    RealtimeKit m_kit;
};

} // namespace

class RealtimeKitTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_bus.emplace();
        QVERIFY(m_bus->isRunning());
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_bus->address());
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    }

    void cleanup() { m_bus.reset(); }

    void eachThreadIsAskedForByItsNumber();
    void noPriorityIsAboveTheMaximum();
    void theTimeLimitIsWhatTheServiceDemands();
    void aServiceWhoseTimeLimitIsTooShortIsNotAskedForThreads();
    void theServiceIsLaunched();
    void aServiceThatDoesNotGrantItIsAnsweredForOnce_data();
    void aServiceThatDoesNotGrantItIsAnsweredForOnce();
    void withoutTheServiceOrTheBusThereIsAnAnswer();
    void itMayBeDestroyedAtAnyTime();

private:
    std::optional<PrivateBus> m_bus;
};

void RealtimeKitTest::eachThreadIsAskedForByItsNumber()
{
    MockService service(*m_bus, QStringLiteral("realtime-kit"));
    QVERIFY(service.isRunning());
    const Asking asking;
    QVERIFY(asking.answers().isEmpty());
    QTRY_COMPARE(asking.answers(), QList<bool>{true});
    QCOMPARE(
        service.finish(),
        QStringList({timeAsked, priorityAsked, threadAsked(first, 10), threadAsked(second, 9)}));
}

void RealtimeKitTest::noPriorityIsAboveTheMaximum()
{
    MockService service(
        *m_bus, QStringLiteral("realtime-kit"),
        {QStringLiteral("--max-priority"), QStringLiteral("9")});
    QVERIFY(service.isRunning());
    const Asking asking;
    QTRY_COMPARE(asking.answers(), QList<bool>{true});
    QCOMPARE(service.finish().mid(2), QStringList({threadAsked(first, 9), threadAsked(second, 9)}));
}

void RealtimeKitTest::theTimeLimitIsWhatTheServiceDemands()
{
    MockService service(
        *m_bus, QStringLiteral("realtime-kit"),
        {QStringLiteral("--max-run"), QStringLiteral("120000")});
    QVERIFY(service.isRunning());
    const Asking asking;
    QTRY_COMPARE(asking.answers(), QList<bool>{true});
    rlimit limit = {};
    QCOMPARE(::getrlimit(RLIMIT_RTTIME, &limit), 0);
    QCOMPARE(limit.rlim_max, rlim_t{120'000});
    QVERIFY(limit.rlim_cur < limit.rlim_max);
}

void RealtimeKitTest::aServiceWhoseTimeLimitIsTooShortIsNotAskedForThreads()
{
    MockService service(
        *m_bus, QStringLiteral("realtime-kit"),
        {QStringLiteral("--max-run"), QStringLiteral("20000")});
    QVERIFY(service.isRunning());
    const Asking asking;
    QTRY_COMPARE(asking.answers(), QList<bool>{false});
    QCOMPARE(service.finish(), QStringList{timeAsked});
}

void RealtimeKitTest::theServiceIsLaunched()
{
    const QString mark = m_bus->directory() + QStringLiteral("/launched");
    QVERIFY(m_bus->addLaunchable(
        QStringLiteral("org.freedesktop.RealtimeKit1"),
        QStringLiteral("touch %1; exit 1").arg(mark)));
    const Asking asking;
    QTRY_COMPARE(asking.answers(), QList<bool>{false}); // what was launched is no service
    QVERIFY(QFile::exists(mark));
}

void RealtimeKitTest::aServiceThatDoesNotGrantItIsAnsweredForOnce_data()
{
    QTest::addColumn<QString>("behaviour");
    for (const char* const behaviour :
         {"refuse", "refuse-priority", "grant-nonsense", "hang", "hang-on-priority", "crash"}) {
        QTest::newRow(behaviour) << QString::fromLatin1(behaviour);
    }
}

void RealtimeKitTest::aServiceThatDoesNotGrantItIsAnsweredForOnce()
{
    QFETCH(QString, behaviour);
    MockService service(
        *m_bus, QStringLiteral("realtime-kit"), {QStringLiteral("--behaviour"), behaviour});
    QVERIFY(service.isRunning());
    const bool hangs = behaviour.startsWith(QLatin1String("hang"));
    const Asking asking(hangs ? shortTimeout : longTimeout);
    QTRY_COMPARE(asking.answers(), QList<bool>{false});
    service.answer(); // too late
    if (hangs) {
        QTRY_VERIFY(service.log().contains(QStringLiteral("answered")));
    }
    QCoreApplication::processEvents();
    QCOMPARE(asking.answers(), QList<bool>{false});
}

void RealtimeKitTest::withoutTheServiceOrTheBusThereIsAnAnswer()
{
    const Asking withoutService;
    QTRY_COMPARE(withoutService.answers(), QList<bool>{false});
    m_bus->stop();
    const Asking withoutBus;
    QVERIFY(withoutBus.answers().isEmpty());
    QTRY_COMPARE(withoutBus.answers(), QList<bool>{false});
}

void RealtimeKitTest::itMayBeDestroyedAtAnyTime()
{
    const std::vector<RealTimeRequest> requests = {{first, 10}, {second, 9}};
    {
        const Asking asking;
    }
    std::unique_ptr<RealtimeKit> kit;
    const auto destroy = [&kit](bool) {
        kit.reset();
    };
    kit = std::make_unique<RealtimeKit>(requests, destroy, longTimeout); // no such service
    QTRY_VERIFY(!kit);
    const MockService service(*m_bus, QStringLiteral("realtime-kit"));
    kit = std::make_unique<RealtimeKit>(requests, destroy, longTimeout);
    QTRY_VERIFY(!kit);
}

WINGBELL_GUILESS_TEST(RealtimeKitTest)
#include "RealtimeKitTest.moc"
