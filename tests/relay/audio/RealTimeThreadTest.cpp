#include "relay/audio/RealTimeThread.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <atomic>
#include <csignal>
#include <functional>
#include <poll.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace wingbell;
using namespace std::chrono_literals;

namespace {

constexpr int realTime = SCHED_RR | SCHED_RESET_ON_FORK;
constexpr int ordinary = SCHED_OTHER | SCHED_RESET_ON_FORK;

/// What `attempt` returns in a process of its own, which may lose privileges or be killed; the
/// negative number of the signal if it is.
int inChild(const std::function<int()>& attempt)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(attempt());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

/// Real-time priority is refused from now on, as to ordinary users.
void becomeOrdinaryUser()
{
    const rlimit none = {};
    ::setrlimit(RLIMIT_RTPRIO, &none);
    if (::geteuid() == 0) {
        constexpr uid_t ordinaryUser = 65534;
        (void)!::setresuid(ordinaryUser, ordinaryUser, ordinaryUser);
    }
}

bool isRealTimeAllowed()
{
    return inChild([] { return RealTimeThread("test", 1, [](auto&) {}).refused() ? 1 : 0; }) == 0;
}

long timesBlocked()
{
    rusage usage = {};
    ::getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

} // namespace

class RealTimeThreadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aThreadThatBlocksNowAndThenNeedNotSleep();
    void aThreadThatHasNotBlockedForLongMustSleep();
    void aThreadThatIsFloodedGivesTheProcessorAway();
    void itHasRealTimePriorityWhereThatIsAllowed();
    void whatIsRefusedIsToldAndTheThreadRuns();
    void aFloodedThreadKeepsItsPriority();
    void aThreadThatRunsOnAndOnGivesUpItsPriority();
    void oneSignalTakesThePriorityFromEveryThread();
    void theTimeLimitIsNeverRaised();
    void aTimeLimitThatIsTooShortIsNotSet();
};

void RealTimeThreadTest::aThreadThatBlocksNowAndThenNeedNotSleep()
{
    YieldPolicy policy;
    YieldPolicy::Clock::time_point now;
    for (long blocked = 0; blocked < 10; ++blocked) {
        QVERIFY(!policy.mustSleep(now, blocked));
        now += YieldPolicy::maxRun - 1ns;
        QVERIFY(!policy.mustSleep(now, blocked));
        now += 1s;
    }
}

void RealTimeThreadTest::aThreadThatHasNotBlockedForLongMustSleep()
{
    YieldPolicy policy;
    const YieldPolicy::Clock::time_point start(1h);
    constexpr long blocked = 7;
    QVERIFY(!policy.mustSleep(start, blocked));
    QVERIFY(!policy.mustSleep(start + YieldPolicy::maxRun - 1ns, blocked));
    QVERIFY(policy.mustSleep(start + YieldPolicy::maxRun, blocked));
    QVERIFY(!policy.mustSleep(start + YieldPolicy::maxRun + 1ms, blocked + 1));
}

void RealTimeThreadTest::aThreadThatIsFloodedGivesTheProcessorAway()
{
    const RealTimeThread thread("test", 1, [](RealTimeThread& self) {
        // One that never does would be here for ever.
        for (const long before = timesBlocked(); timesBlocked() == before;) {
            self.giveWay();
        }
    });
}

void RealTimeThreadTest::itHasRealTimePriorityWhereThatIsAllowed()
{
    if (!isRealTimeAllowed()) {
        QSKIP("This user may not have it.");
    }
    std::atomic<int> policy = -1;
    std::atomic<int> priority = -1;
    {
        const RealTimeThread thread("test", 3, [&](RealTimeThread&) {
            policy = ::sched_getscheduler(0);
            sched_param parameters = {};
            ::sched_getparam(0, &parameters);
            priority = parameters.sched_priority;
        });
        QVERIFY(!thread.refused());
    }
    QCOMPARE(policy.load(), realTime);
    QCOMPARE(priority.load(), 3);
}

void RealTimeThreadTest::whatIsRefusedIsToldAndTheThreadRuns()
{
    const auto attempt = [] {
        becomeOrdinaryUser();
        std::atomic<pid_t> ran = 0;
        std::optional<RealTimeRequest> refused;
        {
            const RealTimeThread thread("test", 3, [&](RealTimeThread&) { ran = ::gettid(); });
            refused = thread.refused();
        }
        return refused && refused->thread == ran && refused->priority == 3 ? 0 : 1;
    };
    QCOMPARE(inChild(attempt), 0);
}

void RealTimeThreadTest::aFloodedThreadKeepsItsPriority()
{
    if (!isRealTimeAllowed()) {
        QSKIP("This user may not have it.");
    }
    const auto attempt = [] {
        if (!limitRealTimeRun(maxRealTimeRun)) {
            return 1;
        }
        std::atomic<int> policy = -1;
        {
            const RealTimeThread thread("test", 1, [&policy](RealTimeThread& self) {
                // Each time after YieldPolicy::maxRun: far longer than the limit in all.
                for (const long end = timesBlocked() + 8; timesBlocked() < end;) {
                    self.giveWay();
                }
                policy = ::sched_getscheduler(0);
            });
        }
        return policy == realTime ? 0 : 2;
    };
    QCOMPARE(inChild(attempt), 0);
}

void RealTimeThreadTest::aThreadThatRunsOnAndOnGivesUpItsPriority()
{
    if (!isRealTimeAllowed()) {
        QSKIP("This user may not have it.");
    }
    const auto attempt = [] {
        if (!limitRealTimeRun(maxRealTimeRun)) {
            return 1;
        }
        const RealTimeThread thread("test", 1, [](RealTimeThread&) {
            while (::sched_getscheduler(0) == realTime) {
            }
        });
        return 0;
    };
    QCOMPARE(inChild(attempt), 0);
}

void RealTimeThreadTest::oneSignalTakesThePriorityFromEveryThread()
{
    if (!isRealTimeAllowed()) {
        QSKIP("This user may not have it.");
    }
    const auto attempt = [] {
        if (!limitRealTimeRun(maxRealTimeRun)) {
            return 1;
        }
        const auto waitUntilOrdinary = [](RealTimeThread&) {
            while (::sched_getscheduler(0) != ordinary) {
                (void)::poll(nullptr, 0, 1);
            }
        };
        const RealTimeThread first("first", 1, waitUntilOrdinary);
        const RealTimeThread second("second", 2, waitUntilOrdinary);
        return ::kill(::getpid(), SIGXCPU);
    };
    QCOMPARE(inChild(attempt), 0);
}

void RealTimeThreadTest::theTimeLimitIsNeverRaised()
{
    const auto attempt = [] {
        rlimit limit = {};
        const bool isSet = limitRealTimeRun(150ms) && limitRealTimeRun(200ms) &&
                           ::getrlimit(RLIMIT_RTTIME, &limit) == 0;
        return isSet && limit.rlim_max == 150'000 && limit.rlim_cur < limit.rlim_max ? 0 : 1;
    };
    QCOMPARE(inChild(attempt), 0);
}

void RealTimeThreadTest::aTimeLimitThatIsTooShortIsNotSet()
{
    const auto attempt = [] {
        rlimit before = {};
        rlimit after = {};
        ::getrlimit(RLIMIT_RTTIME, &before);
        const bool isSet = limitRealTimeRun(YieldPolicy::maxRun) || limitRealTimeRun(-1us);
        ::getrlimit(RLIMIT_RTTIME, &after);
        return !isSet && after.rlim_max == before.rlim_max ? 0 : 1;
    };
    QCOMPARE(inChild(attempt), 0);
}

WINGBELL_APPLESS_TEST(RealTimeThreadTest)
#include "RealTimeThreadTest.moc"
