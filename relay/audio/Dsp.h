#pragma once

#include <cstddef>
#include <span>

namespace wingbell {

// Digital signal processing on blocks of samples.

/// Adds `samples` to `mix`, which has as many, at a gain that ramps linearly from `from` to `to`.
void addTo(std::span<float> mix, std::span<const float> samples, float from, float to);

/// The peak level: the largest absolute value; 0 if there are no samples.
[[nodiscard]] float peakOf(std::span<const float> samples);

/// The level in dBFS: the root mean square, where a square wave of full scale has 0. Minus infinity
/// if all samples are 0 or there are none.
[[nodiscard]] float levelOf(std::span<const float> samples);

/// The length of the cross-fade, in samples: 10 ms.
inline constexpr std::size_t crossFadeSamples = 480;

/// Shortens audio without changing its pitch, by overlap-add (WSOLA): removes between half of
/// `maxRemoved` and `maxRemoved` samples from the beginning of `samples`, which must hold at least
/// `maxRemoved` + `crossFadeSamples`, and cross-fades over the cut. How many are removed is where
/// the normalised cross-correlation of the two parts is highest. Returns how many samples are left,
/// at the beginning of `samples`.
[[nodiscard]] std::size_t timeStretch(std::span<float> samples, std::size_t maxRemoved);

} // namespace wingbell
