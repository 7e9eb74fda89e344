#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <sys/types.h>
#include <thread>

namespace wingbell {

/// When a thread with real-time priority has to give the processor away: when it has not blocked
/// for `maxRun`, because it gets more to do than it can do.
class YieldPolicy
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::milliseconds maxRun{50};

    /// To be asked in each turn of the thread's loop. `blocked` is how often the thread has blocked
    /// so far.
    [[nodiscard]] bool mustSleep(Clock::time_point now, long blocked)
    {
        if (blocked != m_blocked) {
            m_blocked = blocked;
            m_since = now;
        }
        return now - m_since >= maxRun;
    }

private:
    long m_blocked = -1;
    Clock::time_point m_since;
};

/// Real-time priority for a thread, by its number in the kernel.
struct RealTimeRequest
{
    pid_t thread;
    int priority;
};

/// A thread that the audio depends on, with real-time priority if the system allows it. What its
/// program starts does not inherit the priority.
class RealTimeThread
{
public:
    using Run = std::function<void(RealTimeThread& self)>;

    /// Returns when the thread has started and has asked the kernel for `priority`. Throws
    /// std::system_error if it cannot be started.
    RealTimeThread(const char* name, int priority, Run run);
    /// Waits for the thread's end.
    ~RealTimeThread();
    RealTimeThread(const RealTimeThread&) = delete;
    RealTimeThread& operator=(const RealTimeThread&) = delete;

    /// What the kernel has refused; nullopt if it has allowed it.
    [[nodiscard]] std::optional<RealTimeRequest> refused() const { return m_refused; }

    /// Sleeps for a millisecond if YieldPolicy says so: other threads must get the processor, and
    /// the kernel kills a process whose real-time thread runs on and on. To be called on the thread
    /// itself, in each turn of its loop.
    void giveWay();

private:
    void start(const char* name, int priority);

    std::optional<RealTimeRequest> m_refused;
    YieldPolicy m_yieldPolicy; ///< the thread's own
    std::atomic<bool> m_hasStarted{false};
    std::thread m_thread; ///< last: it uses all the others
};

/// How long a thread with real-time priority may run without blocking before the kernel kills the
/// process. RealtimeKit, too, allows no more by default.
inline constexpr std::chrono::microseconds maxRealTimeRun = std::chrono::milliseconds(200);

/// Limits that time to `max` for good, and the process survives it: at three quarters of it the
/// kernel sends SIGXCPU, and then every RealTimeThread gives its priority up and goes on without.
/// Returns false, and does nothing, if `max` is too short for YieldPolicy. For the whole program.
bool limitRealTimeRun(std::chrono::microseconds max);

} // namespace wingbell
