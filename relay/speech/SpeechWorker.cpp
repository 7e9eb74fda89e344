#include "relay/speech/SpeechWorker.h"

#include "relay/speech/SpokenSound.h"

#include <array>
#include <poll.h>
#include <span>
#include <utility>

namespace wingbell {

SpeechWorker::SpeechWorker(Speaker::Settings settings, Play play, Tell tell)
    : m_play(std::move(play))
    , m_tell(std::move(tell))
    , m_work(std::make_shared<const WakeUp>())
    , m_speaker(std::move(settings))
    , m_thread([this] { run(); })
{
}

SpeechWorker::~SpeechWorker()
{
    stop();
}

Admission SpeechWorker::announce(PendingAnnouncement announcement)
{
    const std::scoped_lock lock(m_mutex);
    const Admission admission = m_queue.offer(std::move(announcement));
    if (admission == Admission::Admitted) {
        m_work->raise();
    }
    return admission;
}

void SpeechWorker::stop()
{
    m_stop.raise();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void SpeechWorker::run()
{
    while (!m_stop.isRaised()) {
        m_work->clear();
        tellPlayedOut();
        if (!speakNext()) {
            waitForWork();
        }
    }
}

void SpeechWorker::waitForWork() const
{
    std::array<pollfd, 2> waiting = {{
        {m_stop.descriptor(), POLLIN, 0},
        {m_work->descriptor(), POLLIN, 0},
    }};
    (void)::poll(waiting.data(), waiting.size(), -1);
}

/// A sound that nobody has any more will not be played on: its announcement is over as well.
void SpeechWorker::tellPlayedOut()
{
    std::vector<Playing> playing = std::exchange(m_playing, {});
    for (Playing& each : playing) {
        const auto sound = each.sound.lock();
        if (sound && !sound->isFinished()) {
            m_playing.push_back(std::move(each));
        } else {
            finish(each.announcement, each.result);
        }
    }
}

/// False when nothing may be spoken at the moment.
bool SpeechWorker::speakNext()
{
    std::optional<PendingAnnouncement> next = takeStartable();
    if (!next) {
        return false;
    }
    auto sound = std::make_shared<SpokenSound>(m_work);
    bool played = false;
    const auto sink = [&](std::span<const float> samples) {
        sound->append(samples);
        if (!std::exchange(played, true)) {
            m_play(sound, next->channels);
        }
    };
    SpeechResult result = m_speaker.speak(next->text, sink, m_stop);
    sound->end();
    if (result.end == SpeechEnd::Stopped) {
        return true;
    }
    if (!played) {
        finish(*next, result);
        return true;
    }
    m_playing.push_back({std::move(*next), sound, std::move(result)});
    return true;
}

std::optional<PendingAnnouncement> SpeechWorker::takeStartable()
{
    const std::scoped_lock lock(m_mutex);
    return m_queue.takeStartable();
}

/// Frees the channels first, so that whoever is told may count on it.
void SpeechWorker::finish(const PendingAnnouncement& announcement, const SpeechResult& result)
{
    {
        const std::scoped_lock lock(m_mutex);
        m_queue.finished(announcement.id);
    }
    m_tell({announcement, result});
}

} // namespace wingbell
