#pragma once

#include "relay/voice/AudioFormat.h"
#include "relay/voice/GainTable.h"
#include "relay/voice/Patch.h"
#include "relay/voice/SoundSource.h"

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace wingbell {

class Voice;

/// Mixes the voices and announcements of a room, one tick at a time. On the mixing thread only;
/// allocates only when built.
class MixingDesk
{
public:
    /// `voices` and `announcements`: how many places there are for each.
    MixingDesk(
        std::size_t channels, std::size_t samplesPerTick, std::size_t voices,
        std::size_t announcements);

    /// Puts `voice` in an empty place, hearing and heard by nobody. It must outlive its stay.
    void add(std::size_t place, Voice& voice);
    [[nodiscard]] bool has(std::size_t place) const;

    /// Changes who hears the voice in `place` and whom it hears, within the next tick.
    void patch(std::size_t place, const Patch& patch);

    /// Makes the voice in `place` unheard within the next tick; from now on it is sent nothing.
    void fade(std::size_t place);
    [[nodiscard]] bool isFading(std::size_t place) const;

    void remove(std::size_t place);

    /// Plays `source` on the channels for which `talk` is 1, one number a channel. There must be a
    /// place.
    void announce(std::shared_ptr<SoundSource> source, const std::vector<float>& talk);

    /// True when there are neither voices nor announcements.
    [[nodiscard]] bool isEmpty() const;

    /// Makes one tick. Returns how many announcements have finished with it.
    std::size_t tick();

private:
    struct Place
    {
        Voice* voice = nullptr;
        bool isFading = false;
        Patch patch;
    };

    struct Announcement
    {
        std::shared_ptr<SoundSource> source; ///< nothing: an empty place
        std::vector<float> talk;
        std::array<float, mostTickSamples> samples{};
        bool isSounding = false;
    };

    void connect(std::size_t listener, std::size_t talker);
    [[nodiscard]] std::size_t talkerOf(const Announcement& announcement) const;
    [[nodiscard]] bool isHeard(std::size_t talker) const;
    void playVoices();
    void playAnnouncements();
    void sendMix(std::size_t listener);
    [[nodiscard]] bool addVoices(std::size_t listener);
    [[nodiscard]] bool addAnnouncements(std::size_t listener);
    [[nodiscard]] std::size_t removeFinishedAnnouncements();

    std::vector<Place> m_places;
    std::vector<Announcement> m_announcements;
    GainTable m_gains; ///< as talkers, the announcements come behind the voices
    std::vector<float> m_mix;
};

} // namespace wingbell
