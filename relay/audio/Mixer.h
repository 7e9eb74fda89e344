#pragma once

#include "relay/audio/AudioIo.h"
#include "relay/audio/EncoderPool.h"
#include "relay/audio/GainMatrix.h"
#include "relay/audio/Patch.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace wingbell {

class Participant;

/// Mixes the participants and announcements of a room, one cycle at a time. Each listener gets a
/// mix-minus: the sum of all it hears without itself. Listeners that hear the same in a cycle form
/// a group, which is mixed and encoded once. Mixer thread only; allocates only when built.
class Mixer
{
public:
    /// `participants` and `announcements`: how many places there are for each.
    Mixer(
        std::size_t channels, std::size_t samplesPerCycle, std::size_t participants,
        std::size_t announcements);

    /// Puts `participant` in an empty place, with all gains at 0. It must outlive its stay.
    void add(std::size_t place, Participant& participant);
    [[nodiscard]] bool has(std::size_t place) const;

    /// Changes who hears the participant in `place` and whom it hears, by a ramp in the next cycle.
    void patch(std::size_t place, const Patch& patch);

    /// Fades the participant in `place` out in the next cycle; it is sent nothing from now on.
    void fade(std::size_t place);
    [[nodiscard]] bool isFading(std::size_t place) const;

    void remove(std::size_t place);

    /// Plays `source` on the channels for which `talk` is 1, one number a channel. There must be an
    /// empty place.
    void announce(std::shared_ptr<AudioSource> source, const std::vector<float>& talk);

    /// True when there are neither participants nor announcements.
    [[nodiscard]] bool isEmpty() const;

    /// Mixes one cycle. Returns how many announcements have finished with it.
    std::size_t runCycle();

private:
    struct Place
    {
        Participant* participant = nullptr;
        bool isFading = false;
        bool isTalking = false; ///< on any channel
        Patch patch;
    };

    struct Announcement
    {
        std::shared_ptr<AudioSource> source; ///< nullptr: an empty place
        std::vector<float> talk;
        std::array<float, maxCycleSamples> samples{};
        bool isSounding = false;
    };

    /// A participant or announcement that is not silent in this cycle.
    struct Sounding
    {
        std::size_t talker = 0;
        std::span<const float> samples;
    };

    /// Listeners that hear the same in this cycle.
    struct Group
    {
        std::uint32_t hash = 0;   ///< of its gains; while it is silent, the encoder it fades out on
        std::size_t listener = 0; ///< the first of them
        bool isSilent = false;
        bool isEncoded = false;
        std::span<const std::uint8_t> packet;
    };

    void connect(std::size_t listener, std::size_t talker);
    [[nodiscard]] std::size_t talkerOf(const Announcement& announcement) const;
    void playParticipants();
    void playAnnouncements();
    void hashGains();
    void findGroups();
    [[nodiscard]] std::size_t groupOf(std::size_t listener);
    void chooseEffort();
    [[nodiscard]] bool hearSame(std::size_t listener, std::size_t other) const;
    void sendMix(std::size_t listener);
    void encode(std::size_t group);
    [[nodiscard]] std::size_t removeFinishedAnnouncements();

    std::vector<Place> m_places;
    std::vector<Announcement> m_announcements;
    GainMatrix m_gains; ///< as talkers, the announcements come behind the participants
    EncoderPool m_encoders;
    MixEncoder::Effort m_effort = MixEncoder::Effort::Full; ///< of every encoding
    std::vector<float> m_mix;

    // Of this cycle:
    std::vector<Sounding> m_sounding;
    std::vector<std::uint32_t> m_hashes; ///< of what each listener hears
    std::vector<std::uint32_t> m_heard;  ///< 0 for each listener that hears nothing
    std::vector<Group> m_groups;
    std::vector<std::size_t> m_groupOf; ///< of each listener, or EncoderPool::noGroup
};

} // namespace wingbell
