#include "tests/relay/audio/Tones.h"

#include "relay/audio/AudioIo.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace wingbell {

double toneLevel(std::span<const float> samples, double hertz)
{
    std::complex<double> sum = 0;
    double weights = 0;
    const auto size = static_cast<double>(samples.size());
    for (std::size_t index = 0; index < samples.size(); ++index) {
        const auto time = static_cast<double>(index);
        const double weight = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * time / size);
        sum += std::polar(
            weight * static_cast<double>(samples[index]),
            2 * std::numbers::pi * hertz * time / sampleRate);
        weights += weight;
    }
    return 2 * std::abs(sum) / weights;
}

double loudnessOf(std::span<const float> samples)
{
    double sum = 0;
    for (const float sample : samples) {
        sum += static_cast<double>(sample) * static_cast<double>(sample);
    }
    return std::sqrt(sum / static_cast<double>(samples.size()));
}

double largestStep(std::span<const float> samples)
{
    double largest = 0;
    for (std::size_t index = 1; index < samples.size(); ++index) {
        largest =
            std::max(largest, std::fabs(static_cast<double>(samples[index] - samples[index - 1])));
    }
    return largest;
}

std::span<const float> lastOf(const std::vector<float>& samples, std::size_t count)
{
    return std::span(samples).last(std::min(count, samples.size()));
}

} // namespace wingbell
