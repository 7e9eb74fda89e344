#pragma once

#include <cstddef>

namespace wingbell {

/// All audio is mono, in 32-bit float samples from -1 to 1, at this rate in Hz.
inline constexpr int sampleRate = 48000;

/// The longest mixer cycle, 20 ms, in samples; also what an ordinary Opus packet holds.
inline constexpr std::size_t maxCycleSamples = 960;

} // namespace wingbell
