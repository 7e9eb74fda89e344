#pragma once

#include <span>

namespace wingbell {

/// Up to this level, either way, softClip() changes nothing.
inline constexpr float softClipKnee = 0.7F;

/// Bends what goes beyond the knee smoothly towards 1, which nothing goes beyond. What is not a
/// number becomes silence.
void softClip(std::span<float> samples);

} // namespace wingbell
