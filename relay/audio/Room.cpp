#include "relay/audio/Room.h"

#include "relay/audio/AudioFormat.h"
#include "relay/audio/Mixer.h"
#include "relay/audio/Participant.h"
#include "relay/audio/Patch.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cassert>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace wingbell {

/// The participants, their settings, and the mixer that takes these over from cycle to cycle.
///
/// What is built is built before the mutex is locked. What is to be destroyed is moved out and
/// destroyed after it is unlocked: the locals that hold it are declared before the lock.
class Room::State
{
public:
    State(std::size_t channelCount, std::size_t cycleSamples)
        : channels(channelCount)
        , samplesPerCycle(cycleSamples)
        , m_mixer(channelCount, cycleSamples, maxParticipants, maxAnnouncements)
    {
        m_left.reserve(maxParticipants);
    }

    [[nodiscard]] std::optional<ParticipantId> add(std::shared_ptr<Participant> participant);
    [[nodiscard]] std::shared_ptr<Participant> remove(ParticipantId id);
    [[nodiscard]] std::shared_ptr<Participant> find(ParticipantId id) const;
    void request(ParticipantId id, std::vector<float> Patch::*part, std::vector<float> requested);
    bool announce(std::shared_ptr<AudioSource> source, std::vector<float> talk);
    void runCycle();
    [[nodiscard]] bool waitWhileEmpty();
    void wake();

    const std::size_t channels;
    const std::size_t samplesPerCycle;

private:
    struct Seat
    {
        ParticipantId id = 0;                     ///< 0: empty, or fading out
        std::shared_ptr<Participant> participant; ///< nullptr: empty
        Patch requested;
        bool isChanged = false;
    };

    struct Arrival
    {
        std::shared_ptr<AudioSource> source;
        std::vector<float> talk;
    };

    using Participants = std::vector<std::shared_ptr<Participant>>;

    [[nodiscard]] std::optional<std::size_t> placeOf(ParticipantId id) const;
    void takeOver();
    void takeOver(std::size_t place);
    void fadeOutAndRemove(std::size_t place);
    [[nodiscard]] bool isEmpty() const;
    [[nodiscard]] static Participants emptyParticipants();

    std::condition_variable m_arrival;
    mutable std::mutex m_mutex; ///< guards everything from here to m_hasNews
    bool m_isAwake = false;
    std::array<Seat, maxParticipants> m_seats;
    Participants m_left; ///< removed from the mixer; destroyed by the next join() or leave()
    ParticipantId m_lastId = 0;
    std::array<Arrival, maxAnnouncements> m_arrivals;
    std::size_t m_arrived = 0;
    std::size_t m_announcements = 0; ///< those that arrive and those in the mixer

    std::atomic<bool> m_hasNews{false}; ///< set under the mutex
    std::size_t m_finished = 0;         ///< mixer thread: not yet subtracted from m_announcements
    Mixer m_mixer;                      ///< mixer thread
};

Room::State::Participants Room::State::emptyParticipants()
{
    Participants participants;
    participants.reserve(maxParticipants);
    return participants;
}

std::optional<std::size_t> Room::State::placeOf(ParticipantId id) const
{
    for (std::size_t place = 0; place < m_seats.size(); ++place) {
        if (id != 0 && m_seats[place].id == id) {
            return place;
        }
    }
    return std::nullopt;
}

std::shared_ptr<Participant> Room::State::find(ParticipantId id) const
{
    const std::lock_guard lock(m_mutex);
    const std::optional<std::size_t> place = placeOf(id);
    return place ? m_seats[*place].participant : nullptr;
}

std::optional<ParticipantId> Room::State::add(std::shared_ptr<Participant> participant)
{
    Patch patch{
        std::vector<float>(channels, 0.0F),
        openChannels(participant->mayListen(), participant->mayListen(), channels)};
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

std::shared_ptr<Participant> Room::State::remove(ParticipantId id)
{
    Participants left = emptyParticipants();
    const std::lock_guard lock(m_mutex);
    const std::optional<std::size_t> place = placeOf(id);
    if (!place) {
        return nullptr;
    }
    left.swap(m_left);
    m_seats[*place].id = 0;
    m_hasNews = true;
    return m_seats[*place].participant;
}

void Room::State::request(
    ParticipantId id, std::vector<float> Patch::*part, std::vector<float> requested)
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

bool Room::State::announce(std::shared_ptr<AudioSource> source, std::vector<float> talk)
{
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

void Room::State::runCycle()
{
    if (m_hasNews || m_finished > 0) {
        takeOver();
    }
    m_finished += m_mixer.runCycle();
}

/// Counts those who have left, too: it takes cycles to fade them out and remove them.
bool Room::State::isEmpty() const
{
    return m_announcements == 0 &&
           std::none_of(m_seats.begin(), m_seats.end(), [](const Seat& seat) {
               return seat.participant != nullptr;
           });
}

bool Room::State::waitWhileEmpty()
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

void Room::State::wake()
{
    const std::lock_guard lock(m_mutex);
    m_isAwake = true;
    m_arrival.notify_one();
}

void Room::State::takeOver()
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

void Room::State::takeOver(std::size_t place)
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
void Room::State::fadeOutAndRemove(std::size_t place)
{
    if (m_mixer.has(place) && !m_mixer.isFading(place)) {
        m_mixer.fade(place);
        m_hasNews = true;
        return;
    }
    m_mixer.remove(place);
    m_left.push_back(std::move(m_seats[place].participant));
}

Room::Room(std::size_t channels, std::size_t samplesPerCycle)
    : m_state(std::make_unique<State>(channels, samplesPerCycle))
{
    assert(samplesPerCycle == maxCycleSamples || samplesPerCycle == maxCycleSamples / 2);
}

Room::~Room() = default;

std::size_t Room::channels() const
{
    return m_state->channels;
}

std::size_t Room::samplesPerCycle() const
{
    return m_state->samplesPerCycle;
}

std::optional<ParticipantId>
Room::join(const ChannelSet& mayTalk, const ChannelSet& mayListen, std::shared_ptr<PacketSink> sink)
{
    return m_state->add(std::make_shared<Participant>(
        mayTalk, mayListen, m_state->samplesPerCycle, std::move(sink)));
}

void Room::leave(ParticipantId participant)
{
    if (const std::shared_ptr<Participant> leaving = m_state->remove(participant)) {
        const std::shared_ptr<PacketSink> sink = leaving->takeSink(); // released without a lock
    }
}

void Room::setTalk(ParticipantId participant, const ChannelSet& channels)
{
    if (const std::shared_ptr<Participant> found = m_state->find(participant)) {
        m_state->request(
            participant, &Patch::talk, openChannels(channels, found->mayTalk(), m_state->channels));
    }
}

void Room::setLevels(ParticipantId participant, const std::vector<float>& levels)
{
    if (const std::shared_ptr<Participant> found = m_state->find(participant)) {
        m_state->request(
            participant, &Patch::levels,
            allowedLevels(levels, found->mayListen(), m_state->channels));
    }
}

void Room::receive(ParticipantId participant, std::span<const std::uint8_t> rtp)
{
    if (const std::shared_ptr<Participant> found = m_state->find(participant)) {
        found->receive(rtp);
    }
}

std::uint64_t Room::receivedPackets(ParticipantId participant) const
{
    const std::shared_ptr<Participant> found = m_state->find(participant);
    return found ? found->receivedPackets() : 0;
}

bool Room::announce(std::shared_ptr<AudioSource> source, const ChannelSet& channels)
{
    return m_state->announce(
        std::move(source), openChannels(channels, channels, m_state->channels));
}

void Room::runCycle()
{
    m_state->runCycle();
}

bool Room::waitWhileEmpty()
{
    return m_state->waitWhileEmpty();
}

void Room::wake()
{
    m_state->wake();
}

} // namespace wingbell
