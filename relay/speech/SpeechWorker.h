#pragma once

#include "relay/speech/AnnouncementQueue.h"
#include "relay/speech/Speaker.h"
#include "relay/speech/SpeechReport.h"
#include "relay/speech/WakeUp.h"
#include "relay/voice/SoundSource.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace wingbell {

class SpokenSound;

/// Speaks announcements on a thread of its own: one channel's in their order, different channels'
/// at the same time. Uses no processor time while there is nothing to say.
class SpeechWorker
{
public:
    /// Has `sound` heard on `channels` from now on, until it is finished. Called on the worker's
    /// thread as soon as there is sound, which goes on being made meanwhile.
    using Play =
        std::function<void(std::shared_ptr<SoundSource> sound, const ChannelSet& channels)>;
    /// Takes what became of an announcement, once it has been played out or has failed. Called on
    /// the worker's thread.
    using Tell = std::function<void(const SpeechReport& report)>;

    SpeechWorker(Speaker::Settings settings, Play play, Tell tell);
    SpeechWorker(const SpeechWorker&) = delete;
    SpeechWorker& operator=(const SpeechWorker&) = delete;
    ~SpeechWorker();

    /// Has `announcement` spoken when its turn comes, or says why not. Any thread; never waits for
    /// speech.
    [[nodiscard]] Admission announce(PendingAnnouncement announcement);

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

    void run();
    void waitForWork() const;
    void tellPlayedOut();
    [[nodiscard]] bool speakNext();
    [[nodiscard]] std::optional<PendingAnnouncement> takeStartable();
    void finish(const PendingAnnouncement& announcement, const SpeechResult& result);

    Play m_play;
    Tell m_tell;
    WakeUp m_stop;
    std::shared_ptr<const WakeUp> m_work; ///< sounds share it and may outlive the worker
    std::mutex m_mutex;                   ///< for the queue alone
    AnnouncementQueue m_queue;
    Speaker m_speaker;              ///< the worker's thread only
    std::vector<Playing> m_playing; ///< the worker's thread only
    std::thread m_thread;
};

} // namespace wingbell
