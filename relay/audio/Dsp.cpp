#include "relay/audio/Dsp.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <numeric>

namespace wingbell {

namespace {

/// Speech is low enough in frequency to search every fourth lag first, then the neighbours.
constexpr std::size_t coarse = 4;

/// The cross-correlation of the beginning with what comes `lag` later, normalised by the energy of
/// the latter, over every `stride`th sample.
float correlation(std::span<const float> samples, std::size_t lag, std::size_t stride)
{
    float product = 0;
    float energy = 0;
    for (std::size_t index = 0; index < crossFadeSamples; index += stride) {
        product += samples[index] * samples[index + lag];
        energy += samples[index + lag] * samples[index + lag];
    }
    return energy > 0 ? product / std::sqrt(energy) : 0;
}

std::size_t bestLag(
    std::span<const float> samples, std::size_t minLag, std::size_t maxLag, std::size_t step,
    std::size_t stride)
{
    // From the largest down: where all are alike, as in silence, the most is removed.
    std::size_t best = maxLag;
    float bestCorrelation = correlation(samples, maxLag, stride);
    for (std::size_t lag = maxLag; lag >= minLag + step; lag -= step) {
        const float found = correlation(samples, lag - step, stride);
        if (found > bestCorrelation) {
            best = lag - step;
            bestCorrelation = found;
        }
    }
    return best;
}

} // namespace

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

float levelOf(std::span<const float> samples)
{
    constexpr std::size_t lanes = 8;
    std::array<float, lanes> squares{};
    std::size_t index = 0;
    for (; index + lanes <= samples.size(); index += lanes) {
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            squares[lane] += samples[index + lane] * samples[index + lane];
        }
    }
    for (; index < samples.size(); ++index) {
        squares[0] += samples[index] * samples[index];
    }
    const float sum = std::accumulate(squares.begin(), squares.end(), 0.0F);
    const auto count = static_cast<float>(std::max(samples.size(), std::size_t{1}));
    return 10 * std::log10(sum / count);
}

std::size_t timeStretch(std::span<float> samples, std::size_t maxRemoved)
{
    assert(samples.size() >= maxRemoved + crossFadeSamples);
    const std::size_t minRemoved = maxRemoved / 2;
    const std::size_t near = bestLag(samples, minRemoved, maxRemoved, coarse, coarse);
    const std::size_t lag = bestLag(
        samples, std::max(minRemoved, near - std::min(near, coarse)),
        std::min(maxRemoved, near + coarse), 1, 2);
    for (std::size_t index = 0; index < crossFadeSamples; ++index) {
        const float share =
            (static_cast<float>(index) + 0.5F) / static_cast<float>(crossFadeSamples);
        samples[index] += share * (samples[index + lag] - samples[index]);
    }
    std::copy(
        samples.begin() + static_cast<std::ptrdiff_t>(crossFadeSamples + lag), samples.end(),
        samples.begin() + static_cast<std::ptrdiff_t>(crossFadeSamples));
    return samples.size() - lag;
}

} // namespace wingbell
