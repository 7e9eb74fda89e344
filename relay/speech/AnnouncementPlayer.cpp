#include "relay/speech/AnnouncementPlayer.h"

#include "relay/speech/SpokenSound.h"

#include <algorithm>
#include <span>
#include <utility>

namespace wingbell {

AnnouncementPlayer::AnnouncementPlayer(SpeechSynthesizer::Settings settings, Play play, Ended ended)
    : m_play(std::move(play))
    , m_ended(std::move(ended))
    , m_hold(static_cast<std::size_t>(settings.limits.hold.count() * sampleRate / 1000))
    , m_synthesizer(std::move(settings))
{
    m_poll.setInterval(pollInterval);
    m_poll.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_poll, &QTimer::timeout, &m_poll, [this] { poll(); });
}

AnnouncementPlayer::~AnnouncementPlayer()
{
    if (m_sound) {
        m_sound->end();
    }
}

AnnouncementQueue::Offer AnnouncementPlayer::announce(PendingAnnouncement announcement)
{
    AnnouncementQueue::Offer offer = m_queue.offer(std::move(announcement));
    if (offer) {
        speakNext();
    }
    return offer;
}

std::size_t AnnouncementPlayer::silence(const std::optional<std::string>& sender)
{
    std::size_t count = m_queue.dropWaiting(sender);
    for (Speaking& speaking : m_speaking) {
        const bool isMeant = !sender || speaking.announcement.sender == *sender;
        if (!isMeant || std::exchange(speaking.isSilenced, true)) {
            continue;
        }
        ++count;
        if (const auto sound = speaking.sound.lock()) {
            sound->fadeOut();
        }
    }
    return count;
}

/// Starts to make the next sound, unless one is being made or none may be spoken at the moment.
void AnnouncementPlayer::speakNext()
{
    if (m_sound) {
        return;
    }
    std::optional<PendingAnnouncement> next = m_queue.takeStartable();
    if (!next) {
        return;
    }
    m_sound = std::make_shared<SpokenSound>();
    const auto sink = [this, announcement = *next,
                       isPlayed = false](std::span<const float> samples) mutable {
        if (m_sound->isToFade()) {
            return;
        }
        m_sound->append(samples);
        if (!std::exchange(isPlayed, true)) {
            m_play(m_sound, announcement);
        }
    };
    const auto done = [this, id = next->id](const SpeechResult& result) {
        made(id, result);
    };
    m_speaking.push_back({std::move(*next), m_sound, std::nullopt});
    m_synthesizer.start(m_speaking.back().announcement.text, sink, done);
}

void AnnouncementPlayer::made(std::uint64_t id, const SpeechResult& result)
{
    m_sound->end();
    m_sound.reset();
    for (Speaking& speaking : m_speaking) {
        if (speaking.announcement.id == id) {
            speaking.result = result;
        }
    }
    m_poll.start();
    poll();
}

void AnnouncementPlayer::poll()
{
    // Channels are free before their announcement's end is told.
    for (const Speaking& over : takeEnded()) {
        m_ended(over.announcement, over.isSilenced ? SpeechEnd::Stopped : *over.result);
    }
    speakNext();
    if (m_speaking.empty()) {
        m_poll.stop();
    }
}

/// Those whose sound is made and played out. A sound that has no other owner will not be played on:
/// its announcement is over as well.
std::vector<AnnouncementPlayer::Speaking> AnnouncementPlayer::takeEnded()
{
    std::vector<Speaking> ended;
    for (Speaking& speaking : std::exchange(m_speaking, {})) {
        const auto sound = speaking.sound.lock();
        if (!speaking.result || (sound && !sound->isFinished())) {
            if (speaking.result && sound) {
                giveWay(speaking, *sound);
            }
            m_speaking.push_back(std::move(speaking));
        } else {
            m_queue.finished(speaking.announcement.id);
            ended.push_back(std::move(speaking));
        }
    }
    return ended;
}

/// Ends what has sounded for long as soon as another sender waits for a channel of it.
void AnnouncementPlayer::giveWay(Speaking& speaking, SpokenSound& sound) const
{
    if (!sound.isToFade() && sound.played() >= m_hold &&
        m_queue.isAwaitedByOthers(speaking.announcement.id)) {
        sound.fadeOut();
        speaking.result = SpeechEnd::GaveWay;
    }
}

} // namespace wingbell
