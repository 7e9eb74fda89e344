#pragma once

#include "base/Result.h"
#include "relay/audio/ChannelSet.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace wingbell {

/// A text that is to be spoken on some channels.
struct PendingAnnouncement
{
    std::uint64_t id = 0; ///< the caller's; no two that are waiting or speaking may share one
    ChannelSet channels;  ///< of the show's number of channels
    std::string text;     ///< UTF-8
    std::string sender;   ///< who asked for it: equal texts are the same sender

    friend bool operator==(const PendingAnnouncement&, const PendingAnnouncement&) = default;
};

/// Why an announcement may not wait.
enum class AnnouncementError {
    NoChannel,    ///< it is for no channel at all
    TooMany,      ///< too many of its sender wait on one of its channels
    TooMuchToSay, ///< what waits of its sender on one of its channels takes too long to say
    QueueFull,    ///< too many wait altogether, and of no sender more than of this one
};

/// Which announcement may be spoken when: at the same time where they share no channel, one after
/// the other where they do. Fair queueing: round robin between the senders, in order within one
/// sender.
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

    /// What came of offering an announcement: the one that gave way to it and will not be spoken,
    /// if any.
    using Offer = Result<std::optional<PendingAnnouncement>, AnnouncementError>;

    /// Puts `announcement` behind the others of its sender, or says why not. When the queue is
    /// full, the newest one of the sender who has most waiting gives way. One that is speaking does
    /// not wait.
    [[nodiscard]] Offer offer(PendingAnnouncement announcement);

    /// The announcement whose turn it is, if its channels are free: the next of the sender whose
    /// last turn there is least recent. It speaks from now on, until finished(). Returns nullopt if
    /// there is none.
    [[nodiscard]] std::optional<PendingAnnouncement> takeStartable();

    /// The speaking announcement `id` frees its channels. Others are left alone.
    void finished(std::uint64_t id);

    /// Drops what waits of `sender`, or of all without one. Returns how many there were.
    [[nodiscard]] std::size_t dropWaiting(const std::optional<std::string>& sender);

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

    [[nodiscard]] std::optional<AnnouncementError>
    errorOf(const PendingAnnouncement& announcement) const;
    [[nodiscard]] std::size_t waitingOf(const std::string& sender) const;
    [[nodiscard]] std::size_t largestShare() const;
    [[nodiscard]] std::vector<std::size_t> placesInOrder() const;
    [[nodiscard]] std::size_t lastTurnOf(const PendingAnnouncement& announcement) const;

    std::deque<PendingAnnouncement> m_waiting; ///< as they came
    std::vector<Turn> m_speaking;
    std::deque<Turn> m_turns; ///< that are over, the latest last
};

} // namespace wingbell
