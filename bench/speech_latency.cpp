// How long speech takes with the speech program of this machine: from asking for an announcement to
// its first sound in the room, to the end of its making, and stopping a worker amid a long one.

#include "relay/speech/SpeechWorker.h"
#include "relay/speech/WakeUp.h"

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <poll.h>
#include <string>
#include <utility>
#include <vector>

using namespace wingbell;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int rounds = 50;

double millisecondsSince(Clock::time_point begin)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

void await(const WakeUp& event)
{
    pollfd waiting = {event.descriptor(), POLLIN, 0};
    (void)::poll(&waiting, 1, -1);
    event.clear();
}

void print(const char* what, std::vector<double> milliseconds)
{
    std::sort(milliseconds.begin(), milliseconds.end());
    std::printf(
        "%-44s median %5.1f ms, worst %5.1f ms\n", what, milliseconds[milliseconds.size() / 2],
        milliseconds.back());
}

/// A worker, and a room that lets every sound go at once: so it is told when a sound is made.
class Measured
{
public:
    Measured()
        : m_worker(
              SpeechSynthesizer::Settings{},
              [this](const std::shared_ptr<AudioSource>&, const ChannelSet&) {
                  m_firstSound = Clock::now();
                  m_sounds.raise();
              },
              [this](const SpeechReport&) { m_told.raise(); })
    {
    }

    void announce(const std::string& text)
    {
        const AnnouncementQueue::Offer offer =
            m_worker.announce({1, ChannelSet::all(1), text, "bench"});
        if (offer.admission != Admission::Admitted) {
            std::puts("refused");
        }
    }

    void awaitSound() const { await(m_sounds); }

    /// When there was the first sound, once all of it was made.
    [[nodiscard]] Clock::time_point firstSound() const
    {
        await(m_told);
        return m_firstSound;
    }

    void stop() { m_worker.stop(); }

private:
    WakeUp m_sounds;
    WakeUp m_told;
    Clock::time_point m_firstSound;
    SpeechWorker m_worker;
};

void measure(const std::string& text)
{
    Measured measured;
    std::vector<double> first;
    std::vector<double> all;
    for (int round = 0; round < rounds; ++round) {
        const Clock::time_point begin = Clock::now();
        measured.announce(text);
        const Clock::time_point sounded = measured.firstSound();
        all.push_back(millisecondsSince(begin));
        first.push_back(std::chrono::duration<double, std::milli>(sounded - begin).count());
    }
    std::printf("%zu characters\n", text.size());
    print("  from asking to the first sound", first);
    print("  from asking to the end of its making", all);
}

void measureStop(const std::string& text)
{
    std::vector<double> stops;
    for (int round = 0; round < rounds; ++round) {
        Measured measured;
        measured.announce(text);
        measured.awaitSound();
        const Clock::time_point begin = Clock::now();
        measured.stop();
        stops.push_back(millisecondsSince(begin));
    }
    print("stopping while it is made", stops);
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    ::signal(SIGPIPE, SIG_IGN);
    std::string text;
    for (int count = 0; count < 20; ++count) {
        text += "Stand by, light cue five. ";
    }
    measure("Places, please.");
    measure(text);
    measureStop(text);
    return 0;
}
