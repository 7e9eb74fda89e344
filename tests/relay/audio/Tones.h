#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace wingbell {

/// How strong a tone of `hertz` is in `samples`: 1 for a sine that goes from -1 to 1.
[[nodiscard]] double toneLevel(std::span<const float> samples, double hertz);

/// The root of the mean square.
[[nodiscard]] double loudnessOf(std::span<const float> samples);

/// The largest distance between two samples that follow each other.
[[nodiscard]] double largestStep(std::span<const float> samples);

/// The last `count` of `samples`, or all of them.
[[nodiscard]] std::span<const float> lastOf(const std::vector<float>& samples, std::size_t count);

} // namespace wingbell
