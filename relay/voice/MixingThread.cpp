#include "relay/voice/MixingThread.h"

#include "relay/voice/AudioFormat.h"
#include "relay/voice/TickPace.h"
#include "relay/voice/VoiceRoom.h"

#include <pthread.h>
#include <sched.h>
#include <time.h>

#include <cerrno>

namespace wingbell {

namespace {

constexpr std::int64_t second = 1'000'000'000;

/// Above ordinary threads, below what audio servers and the kernel use.
constexpr int priority = 10;

std::int64_t now()
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

/// Children of this process must not inherit it: they could take the computer for themselves.
void askForRealTime()
{
    sched_param parameters{};
    parameters.sched_priority = priority;
    (void)pthread_setschedparam(pthread_self(), SCHED_RR | SCHED_RESET_ON_FORK, &parameters);
}

} // namespace

MixingThread::MixingThread(VoiceRoom& room)
    : m_room(room)
    , m_thread([this] { run(); })
{
}

MixingThread::~MixingThread()
{
    m_isStopping = true;
    m_room.wake();
    m_thread.join();
}

void MixingThread::waitUntilTicking() const
{
    m_ticks.wait(0);
}

void MixingThread::run()
{
    pthread_setname_np(pthread_self(), "mixer");
    askForRealTime();
    const auto samples = static_cast<std::int64_t>(m_room.samplesPerTick());
    const std::int64_t period = samples * second / sampleRate;
    TickPace pace(now(), period);
    while (!m_isStopping) {
        sleepUntil(pace.due());
        m_room.tick();
        m_missedTicks += pace.ended(now());
        if (++m_ticks == 1) {
            m_ticks.notify_all();
        }
        if (m_room.waitWhileEmpty()) {
            pace = TickPace(now(), period);
        }
    }
}

} // namespace wingbell
