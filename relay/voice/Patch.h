#pragma once

#include "relay/voice/ChannelSet.h"

#include <cstddef>
#include <vector>

namespace wingbell {

/// On which channels of a show one talks, and how loud one hears each: one number a channel.
struct Patch
{
    std::vector<float> talk;   ///< 1 or 0
    std::vector<float> levels; ///< from 0 to 1
};

/// 1 for each of `count` channels that is in both sets, else 0; the sets may be of any count.
[[nodiscard]] std::vector<float>
openChannels(const ChannelSet& wanted, const ChannelSet& allowed, std::size_t count);

/// For each of `count` channels that is in `allowed` its level, brought into 0 to 1; 0 where that
/// is no number or missing, and for all others.
[[nodiscard]] std::vector<float>
allowedLevels(const std::vector<float>& levels, const ChannelSet& allowed, std::size_t count);

/// How loud somebody who hears the channels at `levels` hears somebody who talks on `talk`: the
/// highest level among the channels they share. Both have one number for each channel.
[[nodiscard]] float loudness(const std::vector<float>& talk, const std::vector<float>& levels);

} // namespace wingbell
