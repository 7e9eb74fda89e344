#include "relay/voice/Splice.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace wingbell {

namespace {

/// Voices lie low enough for a search on every fourth sample; the neighbours are looked at after.
constexpr std::size_t coarse = 4;

/// How well what comes `lag` later fits what comes first, looking at every `stride`th sample: the
/// cosine of the angle between them, with its sign.
float likeness(std::span<const float> samples, std::size_t lag, std::size_t stride)
{
    float product = 0;
    float energy = 0;
    for (std::size_t index = 0; index < spliceFade; index += stride) {
        product += samples[index] * samples[index + lag];
        energy += samples[index + lag] * samples[index + lag];
    }
    return energy > 0 ? product / std::sqrt(energy) : 0;
}

std::size_t bestLag(
    std::span<const float> samples, std::size_t least, std::size_t most, std::size_t step,
    std::size_t stride)
{
    // From the largest down: where all fit alike, as in silence, the most is taken out.
    std::size_t best = most;
    float bestLikeness = likeness(samples, most, stride);
    for (std::size_t lag = most; lag >= least + step; lag -= step) {
        const float found = likeness(samples, lag - step, stride);
        if (found > bestLikeness) {
            best = lag - step;
            bestLikeness = found;
        }
    }
    return best;
}

} // namespace

std::size_t spliceOut(std::span<float> samples, std::size_t most)
{
    assert(samples.size() >= most + spliceFade);
    const std::size_t least = most / 2;
    const std::size_t near = bestLag(samples, least, most, coarse, coarse);
    const std::size_t lag = bestLag(
        samples, std::max(least, near - std::min(near, coarse)), std::min(most, near + coarse), 1,
        2);
    for (std::size_t index = 0; index < spliceFade; ++index) {
        const float share = (static_cast<float>(index) + 0.5F) / static_cast<float>(spliceFade);
        samples[index] += share * (samples[index + lag] - samples[index]);
    }
    std::copy(
        samples.begin() + static_cast<std::ptrdiff_t>(spliceFade + lag), samples.end(),
        samples.begin() + static_cast<std::ptrdiff_t>(spliceFade));
    return samples.size() - lag;
}

} // namespace wingbell
