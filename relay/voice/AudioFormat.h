#pragma once

#include <cstddef>

namespace wingbell {

/// Everything that sounds is mono, in samples of 32-bit float from -1 to 1, at this rate per
/// second.
inline constexpr int sampleRate = 48000;

/// The longest tick, 20 ms; also what an ordinary Opus packet holds.
inline constexpr std::size_t mostTickSamples = 960;

} // namespace wingbell
