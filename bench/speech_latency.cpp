// What speech costs with the speech program of this machine: how soon an announcement sounds, how
// long all of it takes to make, how long the event loop keeps others waiting meanwhile, and how
// long it takes to end a player amid a long one.

#include "base/FileDescriptor.h"
#include "relay/speech/AnnouncementPlayer.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QSocketNotifier>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <pthread.h>
#include <string>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <thread>
#include <time.h>
#include <utility>
#include <vector>

using namespace wingbell;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int rounds = 50;

double millisecondsSince(Clock::time_point begin)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

/// Processor time of this program, without the speech program's.
double processorMilliseconds()
{
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto of = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1000 + static_cast<double>(time.tv_usec) / 1000;
    };
    return of(usage.ru_utime) + of(usage.ru_stime);
}

void print(const char* what, std::vector<double> milliseconds)
{
    std::sort(milliseconds.begin(), milliseconds.end());
    const std::size_t count = milliseconds.size();
    std::printf(
        "%-44s median %5.1f ms, 99 %% %5.1f ms, worst %5.1f ms\n", what, milliseconds[count / 2],
        milliseconds[count * 99 / 100], milliseconds.back());
}

/// A player, and a room that lets every sound go at once: so an announcement ends when it is made.
class Measured
{
public:
    Measured()
        : m_player(
              SpeechSynthesizer::Settings{},
              [this](const std::shared_ptr<AudioSource>&, const ChannelSet&) {
                  m_firstSound = Clock::now();
                  m_sounded.quit();
              },
              [this](const PendingAnnouncement&, const SpeechResult&) { m_ended.quit(); })
    {
    }

    void announce(const std::string& text)
    {
        if (!m_player.announce({1, ChannelSet::all(1), text, "bench"})) {
            std::puts("refused");
        }
    }

    void awaitSound() { m_sounded.exec(); }

    /// When there was the first sound, once all of it was made.
    [[nodiscard]] Clock::time_point firstSound()
    {
        m_ended.exec();
        return m_firstSound;
    }

private:
    QEventLoop m_sounded;
    QEventLoop m_ended;
    Clock::time_point m_firstSound;
    AnnouncementPlayer m_player;
};

/// Another thread that asks something of the event loop every few milliseconds, as phones do. What
/// is measured is processor time that the event loop takes meanwhile: it does not depend on what
/// else this machine has to do.
class Requests
{
public:
    Requests()
        : m_event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
        , m_notifier(m_event.get(), QSocketNotifier::Read)
        , m_thread([this] { run(); })
    {
        QObject::connect(&m_notifier, &QSocketNotifier::activated, &m_notifier, [this] {
            std::uint64_t count = 0;
            (void)!::read(m_event.get(), &count, sizeof count);
            m_waits.push_back(loopMilliseconds() - m_sent);
            m_isWaiting = false;
        });
    }

    ~Requests()
    {
        m_isStopping = true;
        m_thread.join();
    }

    Requests(const Requests&) = delete;
    Requests& operator=(const Requests&) = delete;

    [[nodiscard]] const std::vector<double>& waits() const { return m_waits; }

private:
    [[nodiscard]] static clockid_t clockOfThisThread()
    {
        clockid_t clock = {};
        ::pthread_getcpuclockid(::pthread_self(), &clock);
        return clock;
    }

    /// Processor time of the thread of the event loop.
    [[nodiscard]] double loopMilliseconds() const
    {
        timespec time = {};
        ::clock_gettime(m_loopClock, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    }

    void run()
    {
        while (!m_isStopping) {
            std::this_thread::sleep_for(2ms);
            if (!m_isWaiting.exchange(true)) {
                m_sent = loopMilliseconds();
                const std::uint64_t once = 1;
                (void)!::write(m_event.get(), &once, sizeof once);
            }
        }
    }

    FileDescriptor m_event;
    QSocketNotifier m_notifier;
    clockid_t m_loopClock = clockOfThisThread();
    std::atomic<double> m_sent = 0;
    std::atomic<bool> m_isWaiting = false;
    std::atomic<bool> m_isStopping = false;
    std::vector<double> m_waits;
    std::thread m_thread;
};

void measure(const std::string& text)
{
    Measured measured;
    std::vector<double> first;
    std::vector<double> all;
    const double before = processorMilliseconds();
    for (int round = 0; round < rounds; ++round) {
        const Clock::time_point begin = Clock::now();
        measured.announce(text);
        const Clock::time_point sounded = measured.firstSound();
        all.push_back(millisecondsSince(begin));
        first.push_back(std::chrono::duration<double, std::milli>(sounded - begin).count());
    }
    std::printf(
        "%zu characters, %.1f ms of processor time here\n", text.size(),
        (processorMilliseconds() - before) / rounds);
    print("  from asking to the first sound", first);
    print("  from asking to the end of its making", all);
}

void measureRequests(const std::string& text)
{
    {
        const Requests requests;
        QEventLoop loop;
        QTimer::singleShot(1s, &loop, &QEventLoop::quit);
        loop.exec();
        print("the event loop before a request, at rest", requests.waits());
    }
    const Requests requests;
    Measured measured;
    for (int round = 0; round < rounds; ++round) {
        measured.announce(text);
        (void)measured.firstSound();
    }
    print("the event loop before a request, meanwhile", requests.waits());
}

void measureStop(const std::string& text)
{
    std::vector<double> stops;
    for (int round = 0; round < rounds; ++round) {
        auto measured = std::make_unique<Measured>();
        measured->announce(text);
        measured->awaitSound();
        const Clock::time_point begin = Clock::now();
        measured.reset();
        stops.push_back(millisecondsSince(begin));
    }
    print("stopping while it is made", stops);
}

} // namespace

int main(int argc, char* argv[])
{
    qputenv("QT_NO_GLIB", "1"); // as in the server
    const QCoreApplication application(argc, argv);
    ::signal(SIGPIPE, SIG_IGN);
    std::string text;
    for (int count = 0; count < 20; ++count) {
        text += "Stand by, light cue five. ";
    }
    measure("Places, please.");
    measure(text);
    measureRequests(text);
    measureStop(text);
    return 0;
}
