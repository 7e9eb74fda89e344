#include "relay/audio/Patch.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace wingbell {

namespace {

/// Quantised, so that levels that sound the same are equal. A slider of twenty steps whose level is
/// squared keeps each of them.
constexpr float levelSteps = 400;

} // namespace

std::vector<float>
openChannels(const ChannelSet& wanted, const ChannelSet& allowed, std::size_t count)
{
    std::vector<float> open(count, 0.0F);
    for (std::size_t channel = 0; channel < count; ++channel) {
        open[channel] = wanted.contains(channel) && allowed.contains(channel) ? 1.0F : 0.0F;
    }
    return open;
}

std::vector<float>
allowedLevels(const std::vector<float>& levels, const ChannelSet& allowed, std::size_t count)
{
    std::vector<float> result(count, 0.0F);
    for (std::size_t channel = 0; channel < std::min(count, levels.size()); ++channel) {
        // False for NaN.
        if (allowed.contains(channel) && levels[channel] > 0) {
            const float level = std::min(levels[channel], 1.0F);
            result[channel] = std::round(level * levelSteps) / levelSteps;
        }
    }
    return result;
}

float gainBetween(const std::vector<float>& talk, const std::vector<float>& levels)
{
    assert(talk.size() == levels.size());
    float loudest = 0;
    for (std::size_t channel = 0; channel < talk.size(); ++channel) {
        loudest = std::max(loudest, talk[channel] * levels[channel]);
    }
    return loudest;
}

} // namespace wingbell
