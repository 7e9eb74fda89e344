#pragma once

#include <span>

namespace wingbell {

/// Adds `samples` to `mix`, which has as many, at a gain that ramps linearly from `from` to `to`.
void addTo(std::span<float> mix, std::span<const float> samples, float from, float to);

/// The largest absolute value; 0 if there are no samples.
[[nodiscard]] float peakOf(std::span<const float> samples);

} // namespace wingbell
