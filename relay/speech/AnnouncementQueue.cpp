#include "relay/speech/AnnouncementQueue.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <tuple>
#include <utility>

namespace wingbell {

namespace {

/// espeak-ng says about 18 letters a second of English; figures and other scripts take longer, the
/// latter more bytes as well.
constexpr std::size_t bytesASecond = 15;

} // namespace

std::chrono::milliseconds AnnouncementQueue::speakingTime(const std::string& text)
{
    return std::chrono::milliseconds(text.size() * 1000 / bytesASecond);
}

AnnouncementQueue::Offer AnnouncementQueue::offer(PendingAnnouncement announcement)
{
    if (const auto error = errorOf(announcement)) {
        return failure(*error);
    }
    std::optional<PendingAnnouncement> displaced;
    if (m_waiting.size() >= maxWaiting) {
        const std::size_t place = largestShare();
        displaced = std::move(m_waiting.at(place));
        m_waiting.erase(m_waiting.begin() + static_cast<std::ptrdiff_t>(place));
    }
    m_waiting.push_back(std::move(announcement));
    return displaced;
}

std::optional<PendingAnnouncement> AnnouncementQueue::takeStartable()
{
    const std::vector<std::size_t> places = placesInOrder();
    for (auto place = places.begin(); place != places.end(); ++place) {
        const ChannelSet& channels = m_waiting.at(*place).channels;
        const bool isBusy =
            std::any_of(m_speaking.begin(), m_speaking.end(), [&channels](const Turn& other) {
                return other.channels.intersects(channels);
            });
        // Also channels that are free are kept for one whose turn comes first: it may need several.
        const bool isKept =
            std::any_of(places.begin(), place, [this, &channels](std::size_t other) {
                return m_waiting.at(other).channels.intersects(channels);
            });
        if (isBusy || isKept) {
            continue;
        }
        PendingAnnouncement taken = std::move(m_waiting.at(*place));
        m_waiting.erase(m_waiting.begin() + static_cast<std::ptrdiff_t>(*place));
        m_speaking.push_back({taken.id, taken.channels, taken.sender});
        return taken;
    }
    return std::nullopt;
}

void AnnouncementQueue::finished(std::uint64_t id)
{
    const auto found = std::find_if(
        m_speaking.begin(), m_speaking.end(), [id](const Turn& turn) { return turn.id == id; });
    if (found == m_speaking.end()) {
        return;
    }
    m_turns.push_back(std::move(*found));
    m_speaking.erase(found);
    if (m_turns.size() > rememberedTurns) {
        m_turns.pop_front();
    }
}

std::size_t AnnouncementQueue::dropWaiting(const std::optional<std::string>& sender)
{
    return std::erase_if(m_waiting, [&sender](const PendingAnnouncement& each) {
        return !sender || each.sender == *sender;
    });
}

bool AnnouncementQueue::isAwaitedByOthers(std::uint64_t id) const
{
    return std::any_of(m_speaking.begin(), m_speaking.end(), [this, id](const Turn& turn) {
        return turn.id == id &&
               std::any_of(
                   m_waiting.begin(), m_waiting.end(), [&turn](const PendingAnnouncement& each) {
                       return each.sender != turn.sender && each.channels.intersects(turn.channels);
                   });
    });
}

/// Why `announcement` may not wait; nullopt if it may.
std::optional<AnnouncementError>
AnnouncementQueue::errorOf(const PendingAnnouncement& announcement) const
{
    if (announcement.channels.isEmpty()) {
        return AnnouncementError::NoChannel;
    }
    for (std::size_t channel = 0; channel < announcement.channels.count(); ++channel) {
        if (!announcement.channels.contains(channel)) {
            continue;
        }
        std::size_t waiting = 0;
        auto speech = speakingTime(announcement.text);
        for (const PendingAnnouncement& each : m_waiting) {
            if (each.sender == announcement.sender && each.channels.contains(channel)) {
                ++waiting;
                speech += speakingTime(each.text);
            }
        }
        if (waiting >= maxWaitingOfASender) {
            return AnnouncementError::TooMany;
        }
        if (waiting > 0 && speech > maxSpeechOfASender) {
            return AnnouncementError::TooMuchToSay;
        }
    }
    if (m_waiting.size() >= maxWaiting &&
        waitingOf(announcement.sender) >= waitingOf(m_waiting.at(largestShare()).sender)) {
        return AnnouncementError::QueueFull;
    }
    return std::nullopt;
}

std::size_t AnnouncementQueue::waitingOf(const std::string& sender) const
{
    return static_cast<std::size_t>(std::count_if(
        m_waiting.begin(), m_waiting.end(),
        [&sender](const PendingAnnouncement& each) { return each.sender == sender; }));
}

/// The place of the newest announcement of those senders who have most waiting.
std::size_t AnnouncementQueue::largestShare() const
{
    std::size_t largest = 0;
    std::size_t found = 0;
    for (std::size_t place = 0; place < m_waiting.size(); ++place) {
        const std::size_t share = waitingOf(m_waiting.at(place).sender);
        if (share >= largest) {
            largest = share;
            found = place;
        }
    }
    return found;
}

/// The places of those that wait, the one whose turn comes first in front.
std::vector<std::size_t> AnnouncementQueue::placesInOrder() const
{
    // A sender's announcements keep their order where they share a channel: `rounds` is how many
    // rounds an announcement has to wait for earlier ones of its own sender.
    std::vector<std::size_t> rounds(m_waiting.size());
    std::vector<std::size_t> turns(m_waiting.size());
    for (std::size_t place = 0; place < m_waiting.size(); ++place) {
        const PendingAnnouncement& own = m_waiting.at(place);
        for (std::size_t earlier = 0; earlier < place; ++earlier) {
            const PendingAnnouncement& other = m_waiting.at(earlier);
            if (other.sender == own.sender && other.channels.intersects(own.channels)) {
                rounds.at(place) = std::max(rounds.at(place), rounds.at(earlier) + 1);
            }
        }
        turns.at(place) = lastTurnOf(own);
    }
    std::vector<std::size_t> places(m_waiting.size());
    std::iota(places.begin(), places.end(), std::size_t{0});
    std::sort(places.begin(), places.end(), [&](std::size_t left, std::size_t right) {
        return std::tuple(rounds.at(left), turns.at(left), left) <
               std::tuple(rounds.at(right), turns.at(right), right);
    });
    return places;
}

/// When its sender last had a turn on one of its channels: zero for never or long ago, more for
/// later.
std::size_t AnnouncementQueue::lastTurnOf(const PendingAnnouncement& announcement) const
{
    const auto isSuch = [&announcement](const Turn& turn) {
        return turn.sender == announcement.sender &&
               turn.channels.intersects(announcement.channels);
    };
    if (std::any_of(m_speaking.begin(), m_speaking.end(), isSuch)) {
        return std::numeric_limits<std::size_t>::max();
    }
    const auto found = std::find_if(m_turns.rbegin(), m_turns.rend(), isSuch);
    return static_cast<std::size_t>(std::distance(found, m_turns.rend()));
}

} // namespace wingbell
