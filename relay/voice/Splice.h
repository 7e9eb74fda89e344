#pragma once

#include <cstddef>
#include <span>

namespace wingbell {

/// Over how many samples spliceOut() fades: 10 ms.
inline constexpr std::size_t spliceFade = 480;

/// Takes between half of `most` and `most` samples out of the beginning of `samples`, which must
/// hold at least `most` + `spliceFade`, by fading from what comes first into what comes later; how
/// many is chosen so that the two fit best. Returns how many are left, at the beginning of
/// `samples`.
[[nodiscard]] std::size_t spliceOut(std::span<float> samples, std::size_t most);

} // namespace wingbell
