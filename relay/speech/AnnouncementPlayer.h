#pragma once

#include "relay/audio/AudioIo.h"
#include "relay/speech/AnnouncementQueue.h"
#include "relay/speech/SpeechSynthesizer.h"

#include <QTimer>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace wingbell {

class SpokenSound;

/// Speaks announcements: those of one channel one after the other, in turn between their senders;
/// those of different channels at the same time. Makes one sound at a time; it plays while it is
/// made. Main thread only, driven by its event loop; at rest it starts no timer.
class AnnouncementPlayer
{
public:
    /// Plays `sound` on the channels of `announcement` from now on, until it is finished.
    using Play = std::function<void(
        std::shared_ptr<AudioSource> sound, const PendingAnnouncement& announcement)>;
    /// Takes what became of an announcement, once it has been played out or has failed.
    using Ended =
        std::function<void(const PendingAnnouncement& announcement, const SpeechResult& result)>;

    /// How often it is looked whether a sound has been played out. The mixer thread only sets
    /// atomics, so that it never blocks.
    static constexpr std::chrono::milliseconds pollInterval{20};

    AnnouncementPlayer(SpeechSynthesizer::Settings settings, Play play, Ended ended);
    /// Kills a speech program that runs. What is still waiting is never spoken, and `ended` is not
    /// called any more; what is being played is finished where its making stopped.
    ~AnnouncementPlayer();
    Q_DISABLE_COPY_MOVE(AnnouncementPlayer)

    /// Has `announcement` spoken when its turn comes, or says why not.
    [[nodiscard]] AnnouncementQueue::Offer announce(PendingAnnouncement announcement);

    /// Fades out what sounds of `sender`, or of all without one, and drops what waits of it;
    /// `ended` takes only the former. Returns how many announcements that were.
    std::size_t silence(const std::optional<std::string>& sender = std::nullopt);

    /// True while nothing is made or played: no timer runs.
    [[nodiscard]] bool isIdle() const { return m_speaking.empty() && !m_poll.isActive(); }

private:
    /// An announcement whose sound is being made or played.
    struct Speaking
    {
        PendingAnnouncement announcement;
        std::weak_ptr<SpokenSound> sound;   ///< gone when it is played no more
        std::optional<SpeechResult> result; ///< nullopt while it is being made
        bool isSilenced = false;            ///< by its sender
    };

    void speakNext();
    void made(std::uint64_t id, const SpeechResult& result);
    void poll();
    void giveWay(Speaking& speaking, SpokenSound& sound) const;
    [[nodiscard]] std::vector<Speaking> takeEnded();

    Play m_play;
    Ended m_ended;
    std::size_t m_hold; ///< SpeechLimits::hold in samples
    AnnouncementQueue m_queue;
    std::vector<Speaking> m_speaking;
    std::shared_ptr<SpokenSound> m_sound; ///< the one that is being made
    QTimer m_poll;
    SpeechSynthesizer m_synthesizer;
};

} // namespace wingbell
