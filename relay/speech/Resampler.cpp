#include "relay/speech/Resampler.h"

#include "relay/audio/AudioFormat.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <numeric>

namespace wingbell {

namespace {

// Together these keep nine tenths of the band and hold its images 80 dB down.
constexpr std::size_t halfTaps = 32;
constexpr std::size_t taps = 2 * halfTaps;
constexpr double windowShape = 8.0;

/// The modified Bessel function of the first kind and order 0.
double bessel(double x)
{
    double sum = 1;
    double term = 1;
    for (int order = 1; term > sum * 1e-9; ++order) {
        const double factor = x / (2 * order);
        term *= factor * factor;
        sum += term;
    }
    return sum;
}

/// The Kaiser window at `x`, from -1 to 1.
double window(double x)
{
    return bessel(windowShape * std::sqrt(std::max(0.0, 1 - x * x))) / bessel(windowShape);
}

double sinc(double x)
{
    const double angle = std::numbers::pi * x;
    return std::abs(angle) < 1e-9 ? 1 : std::sin(angle) / angle;
}

/// Appends what the input samples around an output sample weigh that comes `fraction` after the
/// middle one.
void appendFilter(double fraction, std::vector<float>& filters)
{
    constexpr auto half = static_cast<double>(halfTaps);
    std::array<double, taps> weights = {};
    double distance = fraction + half - 1;
    for (double& weight : weights) {
        weight = sinc(distance) * window(distance / half);
        distance -= 1;
    }
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    for (const double weight : weights) {
        filters.push_back(static_cast<float>(weight / sum));
    }
}

} // namespace

Resampler::Resampler(int inputRate)
    : m_inputRate(inputRate)
{
    assert(inputRate >= lowestRate && inputRate <= highestRate);
    const int common = std::gcd(inputRate, sampleRate);
    m_steps = static_cast<std::size_t>(sampleRate / common);
    m_stride = static_cast<std::size_t>(inputRate / common);
    m_filters.reserve(m_steps * taps);
    for (std::size_t place = 0; place < m_steps; ++place) {
        appendFilter(static_cast<double>(place) / static_cast<double>(m_steps), m_filters);
    }
    restart();
}

void Resampler::process(std::span<const float> input, std::vector<float>& output)
{
    m_input.insert(m_input.end(), input.begin(), input.end());
    produce(output);
}

void Resampler::finish(std::vector<float>& output)
{
    m_input.insert(m_input.end(), halfTaps, 0.0F);
    produce(output);
    restart();
}

void Resampler::restart()
{
    // The silence before the first sample, so that no delay is left in the output.
    m_input.assign(halfTaps - 1, 0.0F);
    m_place = 0;
}

void Resampler::produce(std::vector<float>& output)
{
    std::size_t first = 0;
    while (first + taps <= m_input.size()) {
        const float* const filter = &m_filters[m_place * taps];
        output.push_back(std::inner_product(filter, filter + taps, &m_input[first], 0.0F));
        m_place += m_stride;
        first += m_place / m_steps;
        m_place %= m_steps;
    }
    m_input.erase(m_input.begin(), m_input.begin() + static_cast<std::ptrdiff_t>(first));
}

} // namespace wingbell
