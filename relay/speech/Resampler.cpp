#include "relay/speech/Resampler.h"

#include "relay/audio/AudioIo.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <numbers>
#include <numeric>

namespace wingbell {

namespace {

// Together these keep nine tenths of the bandwidth and hold the images 80 dB down.
constexpr std::size_t halfTaps = 32;
constexpr std::size_t taps = 2 * halfTaps;
constexpr double kaiserBeta = 8.0;

constexpr unsigned maxPhases = 640; // for 11025 Hz

/// The Kaiser window at `x`, from -1 to 1, up to a constant factor: the modified Bessel function of
/// order 0 as a power series. std::cyl_bessel_i() takes a hundred times as long.
double kaiserWindow(double x)
{
    const double half = kaiserBeta / 2 * std::sqrt(std::max(0.0, 1 - x * x));
    double sum = 1;
    double term = 1;
    for (int order = 1; term > sum * 1e-9; ++order) {
        term *= half * half / (order * order);
        sum += term;
    }
    return sum;
}

double sinc(double x)
{
    const double angle = std::numbers::pi * x;
    return std::abs(angle) < 1e-9 ? 1 : std::sin(angle) / angle;
}

/// Appends the coefficients of an output sample that comes `fraction` after the middle input
/// sample.
void appendPhase(double fraction, std::vector<float>& filter)
{
    constexpr auto half = static_cast<double>(halfTaps);
    std::array<double, taps> weights = {};
    double distance = fraction + half - 1;
    for (double& weight : weights) {
        weight = sinc(distance) * kaiserWindow(distance / half);
        distance -= 1;
    }
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    for (const double weight : weights) {
        filter.push_back(static_cast<float>(weight / sum));
    }
}

} // namespace

bool Resampler::supports(unsigned rate)
{
    return rate >= 8000 && rate <= sampleRate &&
           sampleRate / std::gcd(rate, unsigned{sampleRate}) <= maxPhases;
}

Resampler::Resampler(int inputRate)
    : m_inputRate(inputRate)
    , m_phases(static_cast<std::size_t>(sampleRate / std::gcd(inputRate, sampleRate)))
    , m_stride(static_cast<std::size_t>(inputRate / std::gcd(inputRate, sampleRate)))
{
    assert(supports(static_cast<unsigned>(inputRate)));
    m_filter.reserve(m_phases * taps);
    for (std::size_t phase = 0; phase < m_phases; ++phase) {
        appendPhase(static_cast<double>(phase) / static_cast<double>(m_phases), m_filter);
    }
    restart();
}

void Resampler::process(std::span<const float> input, std::vector<float>& output)
{
    if (m_phases == 1) {
        output.insert(output.end(), input.begin(), input.end());
        return;
    }
    m_input.insert(m_input.end(), input.begin(), input.end());
    std::size_t first = 0;
    while (first + taps <= m_input.size()) {
        const float* const phase = &m_filter[m_phase * taps];
        output.push_back(std::inner_product(phase, phase + taps, &m_input[first], 0.0F));
        m_phase += m_stride;
        first += m_phase / m_phases;
        m_phase %= m_phases;
    }
    m_input.erase(m_input.begin(), m_input.begin() + static_cast<std::ptrdiff_t>(first));
}

void Resampler::finish(std::vector<float>& output)
{
    if (m_phases > 1) {
        process(std::array<float, halfTaps>(), output);
    }
    restart();
}

void Resampler::restart()
{
    m_input.assign(halfTaps - 1, 0.0F); // silence, so that the output has no delay
    m_phase = 0;
}

} // namespace wingbell
