#include "relay/voice/VoiceRoom.h"

#include "relay/voice/AudioFormat.h"
#include "relay/voice/MixingDesk.h"
#include "relay/voice/Patch.h"
#include "relay/voice/Voice.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cassert>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace wingbell {

/// Who is there and what they want, and the desk that follows it from tick to tick.
///
/// Whatever is built is built before the mutex is taken, whatever is to be destroyed is moved out
/// and destroyed after it was given back: the locals that hold it stand before the lock.
class VoiceRoom::State
{
public:
    State(std::size_t channelCount, std::size_t tickSamples)
        : channels(channelCount)
        , samplesPerTick(tickSamples)
        , m_desk(channelCount, tickSamples, mostVoices, mostAnnouncements)
    {
        m_left.reserve(mostVoices);
    }

    [[nodiscard]] std::optional<VoiceId> seat(std::shared_ptr<Voice> voice);
    [[nodiscard]] std::shared_ptr<Voice> unseat(VoiceId id);
    [[nodiscard]] std::shared_ptr<Voice> find(VoiceId id) const;
    void wish(VoiceId id, std::vector<float> Patch::*part, std::vector<float> wished);
    bool announce(std::shared_ptr<SoundSource> source, std::vector<float> talk);
    void tick();
    [[nodiscard]] bool waitWhileEmpty();
    void wake();

    const std::size_t channels;
    const std::size_t samplesPerTick;

private:
    struct Seat
    {
        VoiceId id = 0;               ///< 0: nobody may name it, it is empty or being left
        std::shared_ptr<Voice> voice; ///< nothing: empty
        Patch wished;
        bool isChanged = false;
    };

    struct Arrival
    {
        std::shared_ptr<SoundSource> source;
        std::vector<float> talk;
    };

    using Voices = std::vector<std::shared_ptr<Voice>>;

    [[nodiscard]] std::optional<std::size_t> placeOf(VoiceId id) const;
    void takeOver();
    void takeOver(std::size_t place);
    void seeOff(std::size_t place);
    [[nodiscard]] bool isEmpty() const;
    [[nodiscard]] static Voices emptyVoices();

    std::condition_variable m_somebody;
    mutable std::mutex m_mutex; ///< guards everything from here to the desk
    bool m_isAwake = false;
    std::array<Seat, mostVoices> m_seats;
    Voices m_left; ///< no longer on the desk; destroyed by whoever comes or goes next
    VoiceId m_lastId = 0;
    std::array<Arrival, mostAnnouncements> m_arrivals;
    std::size_t m_arrived = 0;
    std::size_t m_announcements = 0; ///< those that arrive and those on the desk

    std::atomic<bool> m_hasNews{false}; ///< set under the mutex
    std::size_t m_finished = 0;         ///< mixing thread: announcements not yet taken off the sum
    MixingDesk m_desk;                  ///< mixing thread
};

VoiceRoom::State::Voices VoiceRoom::State::emptyVoices()
{
    Voices voices;
    voices.reserve(mostVoices);
    return voices;
}

std::optional<std::size_t> VoiceRoom::State::placeOf(VoiceId id) const
{
    for (std::size_t place = 0; place < m_seats.size(); ++place) {
        if (id != 0 && m_seats[place].id == id) {
            return place;
        }
    }
    return std::nullopt;
}

std::shared_ptr<Voice> VoiceRoom::State::find(VoiceId id) const
{
    const std::lock_guard lock(m_mutex);
    const std::optional<std::size_t> place = placeOf(id);
    return place ? m_seats[*place].voice : nullptr;
}

std::optional<VoiceId> VoiceRoom::State::seat(std::shared_ptr<Voice> voice)
{
    Patch patch{
        std::vector<float>(channels, 0.0F),
        openChannels(voice->mayListen(), voice->mayListen(), channels)};
    Voices left = emptyVoices();
    const std::lock_guard lock(m_mutex);
    left.swap(m_left);
    const auto free =
        std::find_if(m_seats.begin(), m_seats.end(), [](const Seat& seat) { return !seat.voice; });
    if (free == m_seats.end()) {
        return std::nullopt;
    }
    free->id = ++m_lastId;
    free->voice.swap(voice);
    std::swap(free->wished, patch);
    free->isChanged = true;
    m_hasNews = true;
    m_somebody.notify_one();
    return free->id;
}

std::shared_ptr<Voice> VoiceRoom::State::unseat(VoiceId id)
{
    Voices left = emptyVoices();
    const std::lock_guard lock(m_mutex);
    const std::optional<std::size_t> place = placeOf(id);
    if (!place) {
        return nullptr;
    }
    left.swap(m_left);
    m_seats[*place].id = 0;
    m_hasNews = true;
    return m_seats[*place].voice;
}

void VoiceRoom::State::wish(VoiceId id, std::vector<float> Patch::*part, std::vector<float> wished)
{
    const std::lock_guard lock(m_mutex);
    const std::optional<std::size_t> place = placeOf(id);
    if (!place || m_seats[*place].wished.*part == wished) {
        return;
    }
    (m_seats[*place].wished.*part).swap(wished);
    m_seats[*place].isChanged = true;
    m_hasNews = true;
}

bool VoiceRoom::State::announce(std::shared_ptr<SoundSource> source, std::vector<float> talk)
{
    const std::lock_guard lock(m_mutex);
    if (m_announcements == mostAnnouncements) {
        return false;
    }
    ++m_announcements;
    Arrival& arrival = m_arrivals[m_arrived];
    ++m_arrived;
    arrival.source.swap(source);
    arrival.talk.swap(talk);
    m_hasNews = true;
    m_somebody.notify_one();
    return true;
}

void VoiceRoom::State::tick()
{
    if (m_hasNews || m_finished > 0) {
        takeOver();
    }
    m_finished += m_desk.tick();
}

/// Of those who have left, too: they fade out and are seen off by ticks.
bool VoiceRoom::State::isEmpty() const
{
    return m_announcements == 0 &&
           std::none_of(m_seats.begin(), m_seats.end(), [](const Seat& seat) {
               return seat.voice != nullptr;
           });
}

bool VoiceRoom::State::waitWhileEmpty()
{
    // While there is something to mix the mutex is not waited for here either.
    if (m_hasNews || m_finished > 0 || !m_desk.isEmpty()) {
        return false;
    }
    std::unique_lock lock(m_mutex);
    if (m_isAwake || !isEmpty()) {
        return false;
    }
    m_somebody.wait(lock, [this] { return m_isAwake || !isEmpty(); });
    return true;
}

void VoiceRoom::State::wake()
{
    const std::lock_guard lock(m_mutex);
    m_isAwake = true;
    m_somebody.notify_one();
}

void VoiceRoom::State::takeOver()
{
    const std::unique_lock lock(m_mutex, std::try_to_lock);
    if (!lock.owns_lock()) {
        return;
    }
    m_hasNews = false;
    for (std::size_t place = 0; place < m_seats.size(); ++place) {
        if (m_seats[place].voice) {
            takeOver(place);
        }
    }
    m_announcements -= m_finished;
    m_finished = 0;
    for (std::size_t index = 0; index < m_arrived; ++index) {
        m_desk.announce(std::move(m_arrivals[index].source), m_arrivals[index].talk);
    }
    m_arrived = 0;
}

void VoiceRoom::State::takeOver(std::size_t place)
{
    Seat& seat = m_seats[place];
    if (seat.id == 0) {
        seeOff(place);
        return;
    }
    if (!m_desk.has(place)) {
        m_desk.add(place, *seat.voice);
    }
    if (seat.isChanged) {
        seat.isChanged = false;
        m_desk.patch(place, seat.wished);
    }
}

/// A tick to fade out comes before the end.
void VoiceRoom::State::seeOff(std::size_t place)
{
    if (m_desk.has(place) && !m_desk.isFading(place)) {
        m_desk.fade(place);
        m_hasNews = true;
        return;
    }
    m_desk.remove(place);
    m_left.push_back(std::move(m_seats[place].voice));
}

VoiceRoom::VoiceRoom(std::size_t channels, std::size_t samplesPerTick)
    : m_state(std::make_unique<State>(channels, samplesPerTick))
{
    assert(samplesPerTick == mostTickSamples || samplesPerTick == mostTickSamples / 2);
}

VoiceRoom::~VoiceRoom() = default;

std::size_t VoiceRoom::channels() const
{
    return m_state->channels;
}

std::size_t VoiceRoom::samplesPerTick() const
{
    return m_state->samplesPerTick;
}

std::optional<VoiceId> VoiceRoom::join(
    const ChannelSet& mayTalk, const ChannelSet& mayListen, std::shared_ptr<PacketSink> sink)
{
    return m_state->seat(
        std::make_shared<Voice>(mayTalk, mayListen, m_state->samplesPerTick, std::move(sink)));
}

void VoiceRoom::leave(VoiceId voice)
{
    if (const std::shared_ptr<Voice> leaving = m_state->unseat(voice)) {
        const std::shared_ptr<PacketSink> sink = leaving->takeSink(); // let go of without a lock
    }
}

void VoiceRoom::setTalk(VoiceId voice, const ChannelSet& channels)
{
    if (const std::shared_ptr<Voice> found = m_state->find(voice)) {
        m_state->wish(
            voice, &Patch::talk, openChannels(channels, found->mayTalk(), m_state->channels));
    }
}

void VoiceRoom::setLevels(VoiceId voice, const std::vector<float>& levels)
{
    if (const std::shared_ptr<Voice> found = m_state->find(voice)) {
        m_state->wish(
            voice, &Patch::levels, allowedLevels(levels, found->mayListen(), m_state->channels));
    }
}

void VoiceRoom::receive(VoiceId voice, std::span<const std::uint8_t> rtp)
{
    if (const std::shared_ptr<Voice> found = m_state->find(voice)) {
        found->receive(rtp);
    }
}

std::uint64_t VoiceRoom::receivedPackets(VoiceId voice) const
{
    const std::shared_ptr<Voice> found = m_state->find(voice);
    return found ? found->receivedPackets() : 0;
}

bool VoiceRoom::announce(std::shared_ptr<SoundSource> source, const ChannelSet& channels)
{
    return m_state->announce(
        std::move(source), openChannels(channels, channels, m_state->channels));
}

void VoiceRoom::tick()
{
    m_state->tick();
}

bool VoiceRoom::waitWhileEmpty()
{
    return m_state->waitWhileEmpty();
}

void VoiceRoom::wake()
{
    m_state->wake();
}

} // namespace wingbell
