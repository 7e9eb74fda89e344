#include "relay/speech/SpeechWorker.h"

#include "relay/speech/SpokenSound.h"

#include <array>
#include <poll.h>
#include <span>
#include <utility>

namespace wingbell {

SpeechWorker::SpeechWorker(SpeechSynthesizer::Settings settings, Play play, Tell tell)
    : m_play(std::move(play))
    , m_tell(std::move(tell))
    , m_hold(static_cast<std::size_t>(settings.limits.hold.count() * sampleRate / 1000))
    , m_work(std::make_shared<const WakeUp>())
    , m_synthesizer(std::move(settings))
    , m_thread([this] { run(); })
{
}

SpeechWorker::~SpeechWorker()
{
    stop();
}

AnnouncementQueue::Offer SpeechWorker::announce(PendingAnnouncement announcement)
{
    const std::scoped_lock lock(m_mutex);
    AnnouncementQueue::Offer offer = m_queue.offer(std::move(announcement));
    if (offer.admission == Admission::Admitted) {
        m_work->raise();
    }
    return offer;
}

std::size_t SpeechWorker::silence(const std::string& sender)
{
    const std::scoped_lock lock(m_mutex);
    std::size_t count = m_queue.dropWaiting(sender);
    for (const std::uint64_t id : m_queue.speakingOf(sender)) {
        Sounding& sounding = m_sounding[id];
        if (std::exchange(sounding.isSilenced, true)) {
            continue;
        }
        ++count;
        if (const auto sound = sounding.sound.lock()) {
            sound->fadeOut();
        }
    }
    return count;
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

/// A sound without an owner will not be played on: its announcement is over as well.
void SpeechWorker::tellPlayedOut()
{
    std::vector<Playing> playing = std::exchange(m_playing, {});
    for (Playing& each : playing) {
        const auto sound = each.sound.lock();
        if (sound && !sound->isFinished()) {
            giveWay(each, *sound);
            m_playing.push_back(std::move(each));
        } else {
            finish(each.announcement, each.result);
        }
    }
}

/// Ends what has sounded for long as soon as another sender waits for a channel of it.
void SpeechWorker::giveWay(Playing& playing, SpokenSound& sound)
{
    if (sound.isToFade() || sound.played() < m_hold) {
        return;
    }
    const std::scoped_lock lock(m_mutex);
    if (m_queue.isAwaitedByOthers(playing.announcement.id)) {
        sound.fadeOut();
        playing.result = {SpeechEnd::GaveWay, {}};
    }
}

/// False when nothing may be spoken at the moment.
bool SpeechWorker::speakNext()
{
    std::optional<PendingAnnouncement> next = takeStartable();
    if (!next) {
        return false;
    }
    const std::shared_ptr<SpokenSound> sound = soundFor(next->id);
    bool played = false;
    const auto sink = [&](std::span<const float> samples) {
        if (sound->isToFade()) {
            return;
        }
        sound->append(samples);
        if (!std::exchange(played, true)) {
            m_play(sound, next->channels);
        }
    };
    SpeechResult result = m_synthesizer.speak(next->text, sink, m_stop);
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

/// A new sound, or one that is silent already if its sender has silenced it meanwhile.
std::shared_ptr<SpokenSound> SpeechWorker::soundFor(std::uint64_t id)
{
    auto sound = std::make_shared<SpokenSound>(m_work, m_hold);
    const std::scoped_lock lock(m_mutex);
    Sounding& sounding = m_sounding[id];
    sounding.sound = sound;
    if (sounding.isSilenced) {
        sound->fadeOut();
    }
    return sound;
}

std::optional<PendingAnnouncement> SpeechWorker::takeStartable()
{
    const std::scoped_lock lock(m_mutex);
    return m_queue.takeStartable();
}

/// Frees the channels first, so that they are free once the end is told.
void SpeechWorker::finish(const PendingAnnouncement& announcement, SpeechResult result)
{
    {
        const std::scoped_lock lock(m_mutex);
        m_queue.finished(announcement.id);
        const auto sounding = m_sounding.extract(announcement.id);
        if (sounding && sounding.mapped().isSilenced) {
            result = {SpeechEnd::Stopped, {}};
        }
    }
    m_tell({announcement, std::move(result)});
}

} // namespace wingbell
