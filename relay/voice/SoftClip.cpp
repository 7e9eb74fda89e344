#include "relay/voice/SoftClip.h"

#include <algorithm>
#include <cmath>

namespace wingbell {

namespace {

constexpr float room = 1 - softClipKnee;

/// Far beyond all that can come, and small enough to be squared.
constexpr float farthest = 1e6F;

} // namespace

void softClip(std::span<float> samples)
{
    for (float& sample : samples) {
        const float level = sample == sample ? std::min(std::fabs(sample), farthest) : 0.0F;
        const float over = std::max(level - softClipKnee, 0.0F) / room;
        const float bent =
            std::min(level, softClipKnee) + room * (over / std::sqrt(1 + over * over));
        sample = std::copysign(std::min(bent, 1.0F), sample);
    }
}

} // namespace wingbell
