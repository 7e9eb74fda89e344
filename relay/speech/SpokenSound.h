#pragma once

#include "relay/audio/AudioIo.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace wingbell {

/// The sound of an announcement: written by one thread while another one plays it.
///
/// Lock-free, single producer and single consumer: neither thread ever waits for the other. Memory
/// is taken a second at a time, 2 bytes a sample, and given back with the sound.
class SpokenSound final : public AudioSource
{
public:
    static constexpr std::size_t maxSeconds = 90;
    static constexpr std::size_t maxSamples = maxSeconds * sampleRate;

    /// Appends `samples`; what goes beyond `maxSamples` is left out. Writing thread.
    void append(std::span<const float> samples);

    /// Nothing will be appended any more. Writing thread.
    void end() { m_ended.store(true); }

    /// Ends it with the next read(), which fades to silence so that there is no click. Any thread.
    void fadeOut() { m_isToFade.store(true); }
    [[nodiscard]] bool isToFade() const { return m_isToFade.load(); }

    /// How many samples have been read. Any thread.
    [[nodiscard]] std::size_t played() const { return m_read.load(); }

    [[nodiscard]] std::size_t read(std::span<float> samples) override;
    [[nodiscard]] bool isFinished() const override;

private:
    using Second = std::array<std::int16_t, sampleRate>;

    std::array<std::unique_ptr<Second>, maxSeconds> m_seconds;
    std::atomic<std::size_t> m_written = 0; ///< samples; those before it do not change any more
    std::atomic<std::size_t> m_read = 0;
    std::atomic<bool> m_ended = false;
    std::atomic<bool> m_isToFade = false;
    std::atomic<bool> m_hasFaded = false;
};

} // namespace wingbell
