#pragma once

#include "relay/audio/AudioSource.h"
#include "relay/speech/AnnouncementQueue.h"
#include "relay/speech/SpeechSynthesizer.h"
#include "relay/speech/SpeechTypes.h"
#include "relay/speech/WakeUp.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace wingbell {

class SpokenSound;

/// Speaks announcements on a thread of its own: one channel's one after the other, in turn between
/// their senders; different channels' at the same time. Uses no processor time while there is
/// nothing to say.
class SpeechWorker
{
public:
    /// Has `sound` heard on `channels` from now on, until it is finished. Called on the worker's
    /// thread as soon as there is sound, which goes on being made meanwhile.
    using Play =
        std::function<void(std::shared_ptr<AudioSource> sound, const ChannelSet& channels)>;
    /// Takes what became of an announcement, once it has been played out or has failed. Called on
    /// the worker's thread.
    using Tell = std::function<void(const SpeechReport& report)>;

    SpeechWorker(SpeechSynthesizer::Settings settings, Play play, Tell tell);
    SpeechWorker(const SpeechWorker&) = delete;
    SpeechWorker& operator=(const SpeechWorker&) = delete;
    ~SpeechWorker();

    /// Has `announcement` spoken when its turn comes, or says why not. Any thread; never waits for
    /// speech.
    [[nodiscard]] AnnouncementQueue::Offer announce(PendingAnnouncement announcement);

    /// Fades out what sounds of `sender` and forgets what waits of it; `tell` takes only the
    /// former. Returns how many announcements that were. Any thread; never waits for speech.
    std::size_t silence(const std::string& sender);

    /// Ends the thread and a speech program that runs, within a moment. What is still waiting is
    /// never spoken, and nothing is told any more; what is being played is finished where its
    /// making stopped. May be called again; by one thread at a time, not the worker's own.
    void stop();

private:
    struct Playing
    {
        PendingAnnouncement announcement;
        std::weak_ptr<SpokenSound> sound; ///< gone when it is played no more
        SpeechResult result;
    };

    struct Sounding
    {
        std::weak_ptr<SpokenSound> sound;
        bool isSilenced = false; ///< by its sender
    };

    void run();
    void waitForWork() const;
    void tellPlayedOut();
    [[nodiscard]] bool speakNext();
    [[nodiscard]] std::optional<PendingAnnouncement> takeStartable();
    [[nodiscard]] std::shared_ptr<SpokenSound> soundFor(std::uint64_t id);
    void giveWay(Playing& playing, SpokenSound& sound);
    void finish(const PendingAnnouncement& announcement, SpeechResult result);

    Play m_play;
    Tell m_tell;
    std::size_t m_hold; ///< SpeechLimits::hold in samples
    WakeUp m_stop;
    std::shared_ptr<const WakeUp> m_work; ///< sounds share it and may outlive the worker
    std::mutex m_mutex;                   ///< for the next two
    AnnouncementQueue m_queue;
    std::map<std::uint64_t, Sounding> m_sounding; ///< by the id of the announcement, until its end
    SpeechSynthesizer m_synthesizer;              ///< the worker's thread only
    std::vector<Playing> m_playing;               ///< the worker's thread only
    std::thread m_thread;
};

} // namespace wingbell
