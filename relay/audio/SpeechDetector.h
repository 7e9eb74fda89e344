#pragma once

#include <cstddef>
#include <span>

namespace wingbell {

/// Voice activity detection (VAD) by energy, with an adaptive noise floor: tells speech from the
/// noise of a room, block by block. Not thread-safe.
///
/// A block belongs to speech if its level is at least `minLevel` and `minAboveFloor` above the
/// floor, and if this has been so for `minSamples`, which leaves out clicks. The floor is the
/// lowest level of late: it follows a softer block at once and rises slowly. Steady noise, however
/// loud, is its own floor; speech is not, because its level falls by 20 dB and more between two
/// syllables.
///
/// Why these numbers: a quiet room of 35 dB(A) is 35 dB softer than speech a foot from the phone.
/// The gain control of browsers brings speech to -30 to -20 dBFS, so such a room comes to -65 to
/// -55 dBFS; a whisper into a headset comes to about -45 dBFS. Measured with synthetic speech,
/// spoken and whispered, in white noise: found down to -45 dBFS in noise of -60 dBFS and down to
/// -40 dBFS in noise of -50 dBFS; never in noise alone, from -20 dBFS down.
class SpeechDetector
{
public:
    static constexpr float minLevel = -50;          ///< dBFS, root mean square
    static constexpr float minAboveFloor = 10;      ///< dB
    static constexpr float floorRise = 3;           ///< dB a second
    static constexpr float silence = -75;           ///< dBFS; softer is no microphone
    static constexpr std::size_t minSamples = 4800; ///< 100 ms

    /// Takes the next `samples`. True if they belong to speech.
    [[nodiscard]] bool process(std::span<const float> samples);

private:
    float m_floor = 0;         ///< dBFS
    std::size_t m_loudRun = 0; ///< samples that have been loud enough without a break
};

} // namespace wingbell
