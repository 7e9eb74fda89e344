#include "relay/audio/Patch.h"

#include <algorithm>
#include <cassert>

namespace wingbell {

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
            result[channel] = std::min(levels[channel], 1.0F);
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
