#include "relay/speech/AnnouncementQueue.h"

#include <algorithm>
#include <utility>

namespace wingbell {

Admission AnnouncementQueue::offer(PendingAnnouncement announcement)
{
    if (announcement.channels.isEmpty()) {
        return Admission::NoChannel;
    }
    if (m_waiting.size() >= mostWaiting) {
        return Admission::QueueFull;
    }
    if (!hasRoomOn(announcement.channels)) {
        return Admission::ChannelFull;
    }
    m_waiting.push_back(std::move(announcement));
    return Admission::Admitted;
}

std::optional<PendingAnnouncement> AnnouncementQueue::takeStartable()
{
    for (std::size_t place = 0; place < m_waiting.size(); ++place) {
        if (!mayStart(place)) {
            continue;
        }
        PendingAnnouncement taken = std::move(m_waiting.at(place));
        m_waiting.erase(m_waiting.begin() + static_cast<std::ptrdiff_t>(place));
        m_speaking.push_back({taken.id, taken.channels});
        return taken;
    }
    return std::nullopt;
}

void AnnouncementQueue::finished(std::uint64_t id)
{
    std::erase_if(m_speaking, [id](const Speaking& speaking) { return speaking.id == id; });
}

bool AnnouncementQueue::hasRoomOn(const ChannelSet& channels) const
{
    for (std::size_t channel = 0; channel < channels.count(); ++channel) {
        const auto waiting = std::count_if(
            m_waiting.begin(), m_waiting.end(),
            [channel](const PendingAnnouncement& each) { return each.channels.contains(channel); });
        if (channels.contains(channel) &&
            static_cast<std::size_t>(waiting) >= mostWaitingOnAChannel) {
            return false;
        }
    }
    return true;
}

bool AnnouncementQueue::mayStart(std::size_t place) const
{
    const ChannelSet& channels = m_waiting.at(place).channels;
    const auto shares = [&channels](const auto& other) {
        return other.channels.intersects(channels);
    };
    const auto end = m_waiting.begin() + static_cast<std::ptrdiff_t>(place);
    return std::none_of(m_speaking.begin(), m_speaking.end(), shares) &&
           std::none_of(m_waiting.begin(), end, shares);
}

} // namespace wingbell
