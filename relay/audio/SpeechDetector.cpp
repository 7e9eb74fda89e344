#include "relay/audio/SpeechDetector.h"

#include "relay/audio/AudioIo.h"
#include "relay/audio/Dsp.h"

#include <algorithm>
#include <cmath>

namespace wingbell {

bool SpeechDetector::process(std::span<const float> samples)
{
    const float level = levelOf(samples);
    // While a phone sends nothing, its room is not known: it keeps the floor that it had.
    if (!(level >= silence)) {
        m_loudRun = 0;
        return false;
    }
    const float seconds = static_cast<float>(samples.size()) / static_cast<float>(sampleRate);
    m_floor = std::min(level, m_floor + floorRise * seconds);
    if (level < minLevel || level < m_floor + minAboveFloor) {
        m_loudRun = 0;
        return false;
    }
    m_loudRun += samples.size();
    return m_loudRun >= minSamples;
}

} // namespace wingbell
