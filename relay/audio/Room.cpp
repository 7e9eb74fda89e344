#include "relay/audio/Room.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace wingbell {

Room::Room(std::size_t channels, std::size_t samplesPerCycle)
    : m_channels(channels)
    , m_samplesPerCycle(samplesPerCycle)
    , m_mixer(channels, samplesPerCycle, maxParticipants, maxAnnouncements)
{
    assert(samplesPerCycle == maxCycleSamples || samplesPerCycle == maxCycleSamples / 2);
    m_left.reserve(maxParticipants);
}

Room::Participants Room::emptyParticipants()
{
    Participants participants;
    participants.reserve(maxParticipants);
    return participants;
}

std::optional<std::size_t> Room::placeOf(ParticipantId id) const
{
    for (std::size_t place = 0; place < m_seats.size(); ++place) {
        if (id != 0 && m_seats[place].id == id) {
            return place;
        }
    }
    return std::nullopt;
}

std::shared_ptr<Participant> Room::find(ParticipantId id) const
{
    const std::lock_guard lock(m_mutex);
    const std::optional<std::size_t> place = placeOf(id);
    return place ? m_seats[*place].participant : nullptr;
}

std::optional<ParticipantId>
Room::join(const ChannelSet& mayTalk, const ChannelSet& mayListen, std::shared_ptr<PacketSink> sink)
{
    auto participant =
        std::make_shared<Participant>(mayTalk, mayListen, m_samplesPerCycle, std::move(sink));
    Patch patch{
        std::vector<float>(m_channels, 0.0F), openChannels(mayListen, mayListen, m_channels)};
    Participants left = emptyParticipants();
    const std::lock_guard lock(m_mutex);
    left.swap(m_left);
    const auto free = std::find_if(
        m_seats.begin(), m_seats.end(), [](const Seat& seat) { return !seat.participant; });
    if (free == m_seats.end()) {
        return std::nullopt;
    }
    free->id = ++m_lastId;
    free->participant.swap(participant);
    std::swap(free->requested, patch);
    free->isChanged = true;
    m_hasNews = true;
    m_arrival.notify_one();
    return free->id;
}

void Room::leave(ParticipantId participant)
{
    Participants left = emptyParticipants();
    std::shared_ptr<Participant> leaving;
    {
        const std::lock_guard lock(m_mutex);
        const std::optional<std::size_t> place = placeOf(participant);
        if (!place) {
            return;
        }
        left.swap(m_left);
        m_seats[*place].id = 0;
        m_hasNews = true;
        leaving = m_seats[*place].participant;
    }
    const std::shared_ptr<PacketSink> sink = leaving->takeSink(); // released without a lock
}

void Room::setTalk(ParticipantId participant, const ChannelSet& channels)
{
    if (const std::shared_ptr<Participant> found = find(participant)) {
        request(participant, &Patch::talk, openChannels(channels, found->mayTalk(), m_channels));
    }
}

void Room::setLevels(ParticipantId participant, const std::vector<float>& levels)
{
    if (const std::shared_ptr<Participant> found = find(participant)) {
        request(participant, &Patch::levels, allowedLevels(levels, found->mayListen(), m_channels));
    }
}

RtpReceiver Room::receiver(ParticipantId participant) const
{
    return [found = find(participant)](std::span<const std::uint8_t> packet) {
        if (found) {
            found->receive(packet);
        }
    };
}

Room::Received Room::received(ParticipantId participant) const
{
    const std::shared_ptr<Participant> found = find(participant);
    return found ? Received{found->receivedPackets(), found->speechCycles()} : Received{};
}

void Room::request(ParticipantId id, std::vector<float> Patch::*part, std::vector<float> requested)
{
    const std::lock_guard lock(m_mutex);
    const std::optional<std::size_t> place = placeOf(id);
    if (!place || m_seats[*place].requested.*part == requested) {
        return;
    }
    (m_seats[*place].requested.*part).swap(requested);
    m_seats[*place].isChanged = true;
    m_hasNews = true;
}

bool Room::announce(std::shared_ptr<AudioSource> source, const ChannelSet& channels)
{
    std::vector<float> talk = openChannels(channels, channels, m_channels);
    const std::lock_guard lock(m_mutex);
    if (m_announcements == maxAnnouncements) {
        return false;
    }
    ++m_announcements;
    Arrival& arrival = m_arrivals[m_arrived];
    ++m_arrived;
    arrival.source.swap(source);
    arrival.talk.swap(talk);
    m_hasNews = true;
    m_arrival.notify_one();
    return true;
}

void Room::runCycle()
{
    if (m_hasNews || m_finished > 0) {
        takeOver();
    }
    m_finished += m_mixer.runCycle();
}

/// Counts those who have left, too: it takes cycles to fade them out and remove them.
bool Room::isEmpty() const
{
    return m_announcements == 0 &&
           std::none_of(m_seats.begin(), m_seats.end(), [](const Seat& seat) {
               return seat.participant != nullptr;
           });
}

bool Room::waitWhileEmpty()
{
    // While there is something to mix, the mutex is not waited for.
    if (m_hasNews || m_finished > 0 || !m_mixer.isEmpty()) {
        return false;
    }
    std::unique_lock lock(m_mutex);
    if (m_isAwake || !isEmpty()) {
        return false;
    }
    m_arrival.wait(lock, [this] { return m_isAwake || !isEmpty(); });
    return true;
}

void Room::wake()
{
    const std::lock_guard lock(m_mutex);
    m_isAwake = true;
    m_arrival.notify_one();
}

void Room::takeOver()
{
    const std::unique_lock lock(m_mutex, std::try_to_lock);
    if (!lock.owns_lock()) {
        return;
    }
    m_hasNews = false;
    for (std::size_t place = 0; place < m_seats.size(); ++place) {
        if (m_seats[place].participant) {
            takeOver(place);
        }
    }
    m_announcements -= m_finished;
    m_finished = 0;
    for (std::size_t index = 0; index < m_arrived; ++index) {
        m_mixer.announce(std::move(m_arrivals[index].source), m_arrivals[index].talk);
    }
    m_arrived = 0;
}

void Room::takeOver(std::size_t place)
{
    Seat& seat = m_seats[place];
    if (seat.id == 0) {
        fadeOutAndRemove(place);
        return;
    }
    if (!m_mixer.has(place)) {
        m_mixer.add(place, *seat.participant);
    }
    if (seat.isChanged) {
        seat.isChanged = false;
        m_mixer.patch(place, seat.requested);
    }
}

/// One cycle of fade-out comes first.
void Room::fadeOutAndRemove(std::size_t place)
{
    if (m_mixer.has(place) && !m_mixer.isFading(place)) {
        m_mixer.fade(place);
        m_hasNews = true;
        return;
    }
    m_mixer.remove(place);
    m_left.push_back(std::move(m_seats[place].participant));
}

} // namespace wingbell
