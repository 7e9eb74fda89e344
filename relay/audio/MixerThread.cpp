#include "relay/audio/MixerThread.h"

#include "relay/audio/AudioIo.h"
#include "relay/audio/Room.h"

#include <cerrno>
#include <time.h>

namespace wingbell {

namespace {

constexpr std::int64_t second = 1'000'000'000;

/// Above ordinary threads, below audio servers and the kernel.
constexpr int priority = 10;

std::int64_t monotonicNow()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * second + time.tv_nsec;
}

void sleepUntil(std::int64_t due)
{
    timespec time{};
    time.tv_sec = due / second;
    time.tv_nsec = due % second;
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr) == EINTR) {
    }
}

} // namespace

std::uint64_t CycleClock::ended(std::int64_t now)
{
    m_due += m_period;
    if (now <= m_due) {
        return 0;
    }
    const std::int64_t behind = (now - m_due) / m_period;
    if (behind <= maxCyclesBehind) {
        return 1;
    }
    m_due += behind * m_period;
    return 1 + static_cast<std::uint64_t>(behind);
}

MixerThread::MixerThread(Room& room)
    : m_room(room)
    , m_thread("mixer", priority, [this](RealTimeThread& self) { run(self); })
{
}

MixerThread::~MixerThread()
{
    m_isStopping = true;
    m_room.wake();
}

void MixerThread::waitUntilRunning() const
{
    m_cycles.wait(0);
}

void MixerThread::run(RealTimeThread& self)
{
    const auto samples = static_cast<std::int64_t>(m_room.samplesPerCycle());
    const std::int64_t period = samples * second / sampleRate;
    CycleClock clock(monotonicNow(), period);
    while (!m_isStopping) {
        sleepUntil(clock.due());
        self.giveWay();
        m_room.runCycle();
        m_missedDeadlines += clock.ended(monotonicNow());
        if (++m_cycles == 1) {
            m_cycles.notify_all();
        }
        if (m_room.waitWhileEmpty()) {
            clock = CycleClock(monotonicNow(), period);
        }
    }
}

} // namespace wingbell
