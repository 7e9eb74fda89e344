#pragma once

#include <cmath>
#include <cstddef>
#include <numbers>
#include <span>
#include <vector>

namespace wingbell {

/// `count` samples of a sine of full strength, which begins at its zero.
[[nodiscard]] inline std::vector<float> sine(double frequency, int rate, std::size_t count)
{
    std::vector<float> samples(count);
    for (std::size_t place = 0; place < count; ++place) {
        const double turns = frequency * static_cast<double>(place) / rate;
        samples[place] = static_cast<float>(std::sin(2 * std::numbers::pi * turns));
    }
    return samples;
}

/// How strong the tone of `frequency` is in `samples`, in dB; 0 for a sine of full strength. Seen
/// through a Blackman-Harris window, so that a strong tone does not show at other frequencies.
[[nodiscard]] inline double strengthAt(double frequency, int rate, std::span<const float> samples)
{
    const double step = 2 * std::numbers::pi / static_cast<double>(samples.size());
    double real = 0;
    double imaginary = 0;
    double weights = 0;
    for (std::size_t place = 0; place < samples.size(); ++place) {
        const auto at = static_cast<double>(place);
        const double weight = 0.35875 - 0.48829 * std::cos(step * at) +
                              0.14128 * std::cos(2 * step * at) - 0.01168 * std::cos(3 * step * at);
        const double angle = 2 * std::numbers::pi * frequency * at / rate;
        real += weight * static_cast<double>(samples[place]) * std::cos(angle);
        imaginary += weight * static_cast<double>(samples[place]) * std::sin(angle);
        weights += weight;
    }
    return 20 * std::log10(std::hypot(real, imaginary) * 2 / weights + 1e-12);
}

} // namespace wingbell
