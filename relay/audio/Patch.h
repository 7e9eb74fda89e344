#pragma once

#include "relay/audio/ChannelSet.h"

#include <cstddef>
#include <vector>

namespace wingbell {

/// Which channels of a show a participant talks on, and the level at which it hears each: one
/// number a channel.
struct Patch
{
    std::vector<float> talk;   ///< 1 or 0
    std::vector<float> levels; ///< from 0 to 1
};

/// 1 for each of `count` channels that is in both sets, otherwise 0. The sets may be of any count.
[[nodiscard]] std::vector<float>
openChannels(const ChannelSet& wanted, const ChannelSet& allowed, std::size_t count);

/// For each of `count` channels in `allowed` its level, clamped to 0 to 1 and quantised to 1/400; 0
/// if that is missing or not a number, and for all other channels.
[[nodiscard]] std::vector<float>
allowedLevels(const std::vector<float>& levels, const ChannelSet& allowed, std::size_t count);

/// The gain at which a participant with `levels` hears one that talks on `talk`: the highest level
/// among the channels they share. Both have one number for each channel.
[[nodiscard]] float gainBetween(const std::vector<float>& talk, const std::vector<float>& levels);

} // namespace wingbell
