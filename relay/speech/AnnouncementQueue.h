#pragma once

#include "relay/speech/PendingAnnouncement.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace wingbell {

/// What becomes of an announcement that is offered.
enum class Admission {
    Admitted,
    NoChannel,   ///< it is for no channel at all
    ChannelFull, ///< too many wait on one of its channels
    QueueFull,   ///< too many wait altogether
};

/// Which announcement may be spoken when: in their order where they share a channel, at the same
/// time where they do not. Not for several threads at once.
class AnnouncementQueue
{
public:
    static constexpr std::size_t mostWaitingOnAChannel = 8;
    static constexpr std::size_t mostWaiting = 64;

    /// Puts `announcement` at the end, or says why not. One that is speaking waits no longer.
    [[nodiscard]] Admission offer(PendingAnnouncement announcement);

    /// The first waiting announcement that no earlier one, waiting or speaking, shares a channel
    /// with; it speaks from now on, until finished(). Nothing when there is none.
    [[nodiscard]] std::optional<PendingAnnouncement> takeStartable();

    /// The speaking announcement `id` frees its channels. Others are left alone.
    void finished(std::uint64_t id);

    [[nodiscard]] std::size_t waitingCount() const { return m_waiting.size(); }
    [[nodiscard]] std::size_t speakingCount() const { return m_speaking.size(); }

private:
    struct Speaking
    {
        std::uint64_t id;
        ChannelSet channels;
    };

    [[nodiscard]] bool hasRoomOn(const ChannelSet& channels) const;
    [[nodiscard]] bool mayStart(std::size_t place) const;

    std::deque<PendingAnnouncement> m_waiting;
    std::vector<Speaking> m_speaking;
};

} // namespace wingbell
