#include "relay/audio/Mixing.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstddef>

namespace wingbell {

// The loops are plain so that the compiler can vectorise them.

void addTo(std::span<float> mix, std::span<const float> samples, float from, float to)
{
    assert(mix.size() == samples.size());
    float* const sum = mix.data();
    const float* const added = samples.data();
    const auto size = static_cast<int>(samples.size());
    if (from == to) {
        for (int index = 0; index < size; ++index) {
            sum[index] += to * added[index];
        }
        return;
    }
    const float step = (to - from) / static_cast<float>(size);
    for (int index = 0; index < size; ++index) {
        sum[index] += (from + step * static_cast<float>(index + 1)) * added[index];
    }
}

float peakOf(std::span<const float> samples)
{
    constexpr std::size_t lanes = 8;
    std::array<float, lanes> peaks{};
    std::size_t index = 0;
    for (; index + lanes <= samples.size(); index += lanes) {
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            peaks[lane] = std::max(peaks[lane], std::fabs(samples[index + lane]));
        }
    }
    for (; index < samples.size(); ++index) {
        peaks[0] = std::max(peaks[0], std::fabs(samples[index]));
    }
    return *std::max_element(peaks.begin(), peaks.end());
}

} // namespace wingbell
