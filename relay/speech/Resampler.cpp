#include "relay/speech/Resampler.h"

#include "relay/audio/AudioFormat.h"

#include <speex/speex_resampler.h>

#include <algorithm>
#include <cassert>
#include <new>

namespace wingbell {

namespace {

/// Of 0 to 10. The lowest that keeps nine tenths of the band and its images 70 dB down.
constexpr int quality = 7;

} // namespace

void Resampler::Destroy::operator()(SpeexResamplerState_* state) const
{
    speex_resampler_destroy(state);
}

Resampler::Resampler(int inputRate)
    : m_inputRate(inputRate)
{
    assert(inputRate >= lowestRate && inputRate <= highestRate);
    if (inputRate == sampleRate) {
        return;
    }
    m_state.reset(speex_resampler_init(
        1, static_cast<spx_uint32_t>(inputRate), sampleRate, quality, nullptr));
    if (!m_state) {
        throw std::bad_alloc();
    }
    speex_resampler_skip_zeros(m_state.get()); // no delay is left in the output
}

void Resampler::process(std::span<const float> input, std::vector<float>& output)
{
    m_taken += input.size();
    produce(input, output);
}

void Resampler::finish(std::vector<float>& output)
{
    const auto rate = static_cast<std::size_t>(m_inputRate);
    const std::size_t left = (m_taken * sampleRate + rate - 1) / rate - m_given;
    const std::size_t before = output.size();
    if (m_state) {
        // As much silence as the filter looks ahead, and a sample more as its output may lag one.
        const int latency = speex_resampler_get_input_latency(m_state.get());
        produce(std::vector<float>(static_cast<std::size_t>(latency) + 1), output);
    }
    output.resize(before + left);
}

void Resampler::produce(std::span<const float> input, std::vector<float>& output)
{
    const std::size_t before = output.size();
    if (!m_state) {
        output.insert(output.end(), input.begin(), input.end());
    }
    while (m_state && !input.empty()) {
        const std::size_t begin = output.size();
        auto taken = static_cast<spx_uint32_t>(input.size());
        auto given = static_cast<spx_uint32_t>(
            input.size() * sampleRate / static_cast<std::size_t>(m_inputRate) + 2);
        output.resize(begin + given);
        (void)speex_resampler_process_float(
            m_state.get(), 0, input.data(), &taken, output.data() + begin, &given);
        output.resize(begin + given);
        input = input.subspan(taken);
    }
    m_given += output.size() - before;
}

} // namespace wingbell
