#pragma once

#include "relay/audio/AudioIo.h"
#include "relay/audio/ChannelSet.h"
#include "relay/audio/Mixer.h"
#include "relay/audio/Participant.h"
#include "relay/audio/Patch.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

namespace wingbell {

/// Names one participant of a room; never used twice.
using ParticipantId = std::uint32_t;

/// The conference of a show: each participant hears the others who talk on a channel it listens to.
///
/// Each listener gets a mix-minus: the sum of all talkers but itself, each once, at the highest of
/// the listener's levels for the channels they share. An announcement is a talker.
///
/// Threads: runCycle() belongs to one thread at a time, the mixer thread. Everything else may be
/// called from any thread at any time, but not from a PacketSink or an AudioSource. An id that is
/// gone is ignored.
///
/// Locks: one mutex guards the participants and their settings. It is held only to look up or
/// exchange a few pointers and values; nothing is built or destroyed under it. runCycle() never
/// waits for it: what it cannot take over at once it takes over in the next cycle. Packets reach
/// the mixer thread through a lock-free ring buffer. Each participant has a mutex around its sink,
/// which runCycle() holds while it sends and leave() while it takes the sink away; runCycle() does
/// not wait for that either.
class Room
{
public:
    static constexpr std::size_t maxParticipants = 300;
    static constexpr std::size_t maxAnnouncements = 64;

    /// A room for a show of `channels` channels. `samplesPerCycle`: 480 or 960, 10 or 20 ms.
    Room(std::size_t channels, std::size_t samplesPerCycle);
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;

    [[nodiscard]] std::size_t channels() const { return m_channels; }
    [[nodiscard]] std::size_t samplesPerCycle() const { return m_samplesPerCycle; }

    /// Adds a participant that may talk and listen on these channels of the show. It talks on none
    /// and hears all of its own at full level until told otherwise. `sink` gets one packet each
    /// cycle. Returns nullopt if there are `maxParticipants` already; a place is free again two
    /// cycles after leave().
    [[nodiscard]] std::optional<ParticipantId>
    join(const ChannelSet& mayTalk, const ChannelSet& mayListen, std::shared_ptr<PacketSink> sink);

    /// Removes a participant; it fades out within a cycle. When this returns, the room has released
    /// the sink and calls it no more. Waits for the sink's send() if that is running.
    void leave(ParticipantId participant);

    /// Has `participant` talk on those of `channels` that it may talk on, and on no others.
    void setTalk(ParticipantId participant, const ChannelSet& channels);

    /// The level from 0 to 1 at which `participant` hears each channel of the show. Other numbers
    /// are clamped; missing ones and NaN count as 0. Channels on which the participant may not
    /// listen stay silent.
    void setLevels(ParticipantId participant, const std::vector<float>& levels);

    /// What `participant` sends goes there. Packets that come while its ring buffer is full are
    /// dropped, as are all that come when it is gone.
    [[nodiscard]] RtpReceiver receiver(ParticipantId participant) const;

    /// What had come from a participant by the last cycle.
    struct Received
    {
        std::uint64_t packets = 0;      ///< of Opus
        std::uint64_t speechCycles = 0; ///< cycles in which it spoke into an open talk key
    };

    /// All 0 if `participant` is gone.
    [[nodiscard]] Received received(ParticipantId participant) const;

    /// Plays `source` on `channels` from the next cycle until it has finished, then releases it on
    /// the mixer thread. Returns false, and plays nothing, if `maxAnnouncements` are playing.
    bool announce(std::shared_ptr<AudioSource> source, const ChannelSet& channels);

    /// Mixes, encodes and sends one cycle to every participant. Mixer thread only; allocates
    /// nothing.
    void runCycle();

    /// Waits while the room is empty and nothing is played, so that an idle desk does not wake the
    /// machine, but no longer than until wake(). Returns true if it has waited. Mixer thread only,
    /// between cycles.
    [[nodiscard]] bool waitWhileEmpty();

    /// Ends the waiting for good. Any thread.
    void wake();

private:
    // What is built is built before the mutex is locked. What is to be destroyed is moved out and
    // destroyed after it is unlocked: the locals that hold it are declared before the lock.

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
    [[nodiscard]] std::shared_ptr<Participant> find(ParticipantId id) const;
    void request(ParticipantId id, std::vector<float> Patch::*part, std::vector<float> requested);

    const std::size_t m_channels;
    const std::size_t m_samplesPerCycle;
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

} // namespace wingbell
