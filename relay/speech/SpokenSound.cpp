#include "relay/speech/SpokenSound.h"

#include <algorithm>
#include <cmath>

namespace wingbell {

namespace {

constexpr float fullScale = 32767;

std::int16_t toStored(float sample)
{
    return static_cast<std::int16_t>(std::lrint(std::clamp(sample, -1.0F, 1.0F) * fullScale));
}

/// A linear fade to silence.
void fade(std::span<float> samples)
{
    for (std::size_t place = 0; place < samples.size(); ++place) {
        samples[place] *=
            static_cast<float>(samples.size() - 1 - place) / static_cast<float>(samples.size());
    }
}

} // namespace

void SpokenSound::append(std::span<const float> samples)
{
    const std::size_t begin = m_written.load();
    const std::size_t end = std::min(begin + samples.size(), maxSamples);
    for (std::size_t place = begin; place < end; ++place) {
        auto& second = m_seconds.at(place / sampleRate);
        if (!second) {
            second = std::make_unique<Second>();
        }
        second->at(place % sampleRate) = toStored(samples[place - begin]);
    }
    m_written.store(end);
}

std::size_t SpokenSound::read(std::span<float> samples)
{
    if (m_hasFaded.load()) {
        return 0;
    }
    const std::size_t begin = m_read.load();
    const std::size_t end = std::min(begin + samples.size(), m_written.load());
    for (std::size_t place = begin; place < end; ++place) {
        const Second& second = *m_seconds[place / sampleRate];
        samples[place - begin] = static_cast<float>(second[place % sampleRate]) / fullScale;
    }
    m_read.store(end);
    if (m_isToFade.load()) {
        fade(samples.first(end - begin));
        m_hasFaded.store(true);
    }
    return end - begin;
}

bool SpokenSound::isFinished() const
{
    // In this order: what is written stays as it is once the end is there.
    return m_hasFaded.load() || (m_ended.load() && m_read.load() == m_written.load());
}

} // namespace wingbell
