#pragma once

#include "relay/voice/ChannelSet.h"
#include "relay/voice/PacketSink.h"
#include "relay/voice/SoundSource.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace wingbell {

/// Names one voice in a room; never given twice.
using VoiceId = std::uint32_t;

/// Where the voices of a show meet: each hears the others who talk on a channel it listens to.
///
/// A listener gets the sum of the talkers, each once, at the highest of its own levels for the
/// channels it shares with the talker; never its own voice. An announcement is a talker.
///
/// Threads: tick() belongs to one thread at a time, the mixing thread; everything else may be
/// called from any thread at any time, though not from a PacketSink or a SoundSource. An id that is
/// gone is ignored.
///
/// Locks: one mutex guards who is there and what each wants, and is held only to look up or
/// exchange a few pointers and values; nothing is built or destroyed under it. tick() never waits
/// for it: what it cannot take over at once it takes over a tick later. Packets reach the tick
/// without a lock. Each voice has a mutex of its own around its sink, which tick() holds while it
/// sends and leave() while it takes the sink away; here too tick() does not wait.
class VoiceRoom
{
public:
    static constexpr std::size_t mostVoices = 100;
    static constexpr std::size_t mostAnnouncements = 64;

    /// A room for a show of `channels` channels. `samplesPerTick`: 480 or 960, 10 or 20 ms.
    VoiceRoom(std::size_t channels, std::size_t samplesPerTick);
    ~VoiceRoom();

    VoiceRoom(const VoiceRoom&) = delete;
    VoiceRoom& operator=(const VoiceRoom&) = delete;

    [[nodiscard]] std::size_t channels() const;
    [[nodiscard]] std::size_t samplesPerTick() const;

    /// Lets somebody in who may talk and listen on these channels of the show. It talks on none and
    /// hears all of its own at full level until told otherwise. `sink` gets one packet each tick.
    /// Nothing when there are `mostVoices` already; a place is free again two ticks after leave().
    [[nodiscard]] std::optional<VoiceId>
    join(const ChannelSet& mayTalk, const ChannelSet& mayListen, std::shared_ptr<PacketSink> sink);

    /// Lets a voice go: it fades out within a tick. When this returns, its sink gets no call any
    /// more and the room has let go of it. Waits for the sink's send() when that is just running.
    void leave(VoiceId voice);

    /// Opens `voice` towards `channels`, as far as it may talk on them, and closes it towards all
    /// others.
    void setTalk(VoiceId voice, const ChannelSet& channels);

    /// How loud `voice` hears each channel of the show, from 0 to 1. What lies beyond is brought to
    /// the nearer end, what is not a number or missing counts as 0; channels on which the voice may
    /// not listen stay silent.
    void setLevels(VoiceId voice, const std::vector<float>& levels);

    /// Takes an RTP packet that holds Opus from `voice`; any bytes whatever are safe. One thread at
    /// a time for each voice. Never waits for a tick. Above what the voice can keep, packets are
    /// dropped.
    void receive(VoiceId voice, std::span<const std::uint8_t> rtp);

    /// How many packets of Opus had come from `voice` by the last tick; 0 when it is gone.
    [[nodiscard]] std::uint64_t receivedPackets(VoiceId voice) const;

    /// Plays `source` on `channels` from the next tick on until it has finished, then lets go of it
    /// on the mixing thread. False, and nothing is played, when `mostAnnouncements` are playing.
    bool announce(std::shared_ptr<SoundSource> source, const ChannelSet& channels);

    /// Mixes, encodes and sends one tick for everybody. On the mixing thread only; allocates
    /// nothing.
    void tick();

    /// Waits while nobody is in the room and nothing is played, so that a desk at rest does not
    /// wake the machine, but no longer than until wake(). True when it has waited. On the mixing
    /// thread only, between ticks.
    [[nodiscard]] bool waitWhileEmpty();

    /// Ends the waiting for good.
    void wake();

private:
    class State;
    const std::unique_ptr<State> m_state;
};

} // namespace wingbell
