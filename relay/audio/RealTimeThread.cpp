#include "relay/audio/RealTimeThread.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace wingbell {

namespace {

/// The running threads that may have real-time priority, for the signal handler; 0: a free place.
std::array<std::atomic<pid_t>, 16> realTimeThreads;
static_assert(std::atomic<pid_t>::is_always_lock_free);

/// Returns false if `thread` cannot take the place of `expected`: there is no such place.
bool replaceInList(pid_t expected, pid_t thread)
{
    return std::any_of(realTimeThreads.begin(), realTimeThreads.end(), [=](auto& place) {
        pid_t found = expected;
        return place.compare_exchange_strong(found, thread);
    });
}

/// For the calling thread; the only one that the sandbox lets it change. Returns 0 or -1.
int setPolicy(int policy, int priority)
{
    sched_param parameters = {};
    parameters.sched_priority = priority;
    // Children must not inherit the priority: they could starve the rest of the system. Without
    // this flag an ordinary user is not even allowed to give the priority back.
    return ::sched_setscheduler(0, policy | SCHED_RESET_ON_FORK, &parameters);
}

rlimit limitsFor(rlim_t max)
{
    return {max / 4 * 3, max};
}

/// On SIGXCPU. The kernel sends it once, to the thread that ran too long, which tells the others.
/// System calls only: it may interrupt anything.
void giveUpRealTime(int /*number*/, siginfo_t* info, void* /*context*/)
{
    const int error = errno;
    (void)setPolicy(SCHED_OTHER, 0);
    if (info->si_code != SI_TKILL) {
        const pid_t self = ::gettid();
        for (const std::atomic<pid_t>& place : realTimeThreads) {
            const pid_t thread = place.load();
            if (thread != 0 && thread != self) {
                (void)::syscall(SYS_tgkill, ::getpid(), thread, SIGXCPU);
            }
        }
        // The kernel has raised the soft limit by a second, above the hard one.
        rlimit limit = {};
        if (::getrlimit(RLIMIT_RTTIME, &limit) == 0 && limit.rlim_max != RLIM_INFINITY) {
            limit = limitsFor(limit.rlim_max);
            (void)::setrlimit(RLIMIT_RTTIME, &limit);
        }
    }
    errno = error;
}

/// How often the calling thread has blocked.
long blockCount()
{
    rusage usage = {};
    (void)::getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

} // namespace

RealTimeThread::RealTimeThread(const char* name, int priority, Run run)
    : m_thread([this, name, priority, run = std::move(run)] {
        start(name, priority);
        run(*this);
        (void)replaceInList(::gettid(), 0);
    })
{
    m_hasStarted.wait(false);
}

RealTimeThread::~RealTimeThread()
{
    m_thread.join();
}

void RealTimeThread::start(const char* name, int priority)
{
    (void)::pthread_setname_np(::pthread_self(), name);
    const pid_t thread = ::gettid();
    // One that the signal handler does not know must not have the priority.
    if (replaceInList(0, thread) && setPolicy(SCHED_RR, priority) != 0) {
        m_refused = {thread, priority};
    }
    m_hasStarted = true;
    m_hasStarted.notify_all();
}

void RealTimeThread::giveWay()
{
    if (m_yieldPolicy.mustSleep(YieldPolicy::Clock::now(), blockCount())) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

bool limitRealTimeRun(std::chrono::microseconds max)
{
    rlimit limit = {};
    if (::getrlimit(RLIMIT_RTTIME, &limit) != 0) {
        return false;
    }
    const auto hard = std::min(limit.rlim_max, static_cast<rlim_t>(std::max<long>(max.count(), 0)));
    if (std::chrono::microseconds(hard) < 2 * YieldPolicy::maxRun) {
        return false;
    }
    struct sigaction action = {};
    action.sa_sigaction = giveUpRealTime;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    (void)::sigaction(SIGXCPU, &action, nullptr);
    sigset_t signals = {};
    sigemptyset(&signals);
    sigaddset(&signals, SIGXCPU);
    (void)::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    limit = limitsFor(hard);
    return ::setrlimit(RLIMIT_RTTIME, &limit) == 0;
}

} // namespace wingbell
