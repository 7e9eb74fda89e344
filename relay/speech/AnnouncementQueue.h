#pragma once

#include "relay/speech/SpeechTypes.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace wingbell {

/// What becomes of an announcement that is offered.
enum class Admission {
    Admitted,
    NoChannel,    ///< it is for no channel at all
    TooMany,      ///< too many of its sender wait on one of its channels
    TooMuchToSay, ///< what waits of its sender on one of its channels takes too long to say
    QueueFull,    ///< too many wait altogether, and of no sender more than of this one
};

/// Which announcement may be spoken when: at the same time where they share no channel, one after
/// the other where they do. Fair queueing: round robin between the senders, in order within one
/// sender. Not thread-safe.
class AnnouncementQueue
{
public:
    /// Of one sender on one channel.
    static constexpr std::size_t maxWaitingOfASender = 8;
    static constexpr std::chrono::seconds maxSpeechOfASender{90};
    /// Of all senders on all channels.
    static constexpr std::size_t maxWaiting = 64;
    /// How many turns back it is remembered whose they were.
    static constexpr std::size_t rememberedTurns = 64;

    /// What came of offering an announcement.
    struct Offer
    {
        Admission admission = Admission::Admitted;
        std::optional<PendingAnnouncement> displaced; ///< gave way and will not be spoken
    };

    /// Puts `announcement` behind the others of its sender, or says why not. When the queue is
    /// full, the newest one of the sender who has most waiting gives way. One that is speaking does
    /// not wait.
    [[nodiscard]] Offer offer(PendingAnnouncement announcement);

    /// The announcement whose turn it is, if its channels are free: the next of the sender whose
    /// last turn there is longest ago. It speaks from now on, until finished(). Nothing when there
    /// is none.
    [[nodiscard]] std::optional<PendingAnnouncement> takeStartable();

    /// The speaking announcement `id` frees its channels. Others are left alone.
    void finished(std::uint64_t id);

    /// Forgets what waits of `sender`. Returns how many there were.
    [[nodiscard]] std::size_t dropWaiting(const std::string& sender);

    /// The ids of the announcements of `sender` that are speaking.
    [[nodiscard]] std::vector<std::uint64_t> speakingOf(const std::string& sender) const;

    /// True while another sender's announcement waits for a channel of the speaking one `id`.
    [[nodiscard]] bool isAwaitedByOthers(std::uint64_t id) const;

    /// Roughly how long it takes to say `text`, UTF-8.
    [[nodiscard]] static std::chrono::milliseconds speakingTime(const std::string& text);

private:
    /// An announcement that speaks or has spoken.
    struct Turn
    {
        std::uint64_t id;
        ChannelSet channels;
        std::string sender;
    };

    [[nodiscard]] std::optional<Admission> refusal(const PendingAnnouncement& announcement) const;
    [[nodiscard]] std::size_t waitingOf(const std::string& sender) const;
    [[nodiscard]] std::size_t largestShare() const;
    [[nodiscard]] std::vector<std::size_t> placesInOrder() const;
    [[nodiscard]] std::size_t lastTurnOf(const PendingAnnouncement& announcement) const;

    std::deque<PendingAnnouncement> m_waiting; ///< as they came
    std::vector<Turn> m_speaking;
    std::deque<Turn> m_turns; ///< that are over, the latest last
};

} // namespace wingbell
