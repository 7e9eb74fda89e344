#pragma once

#include "relay/audio/AudioFormat.h"
#include "relay/audio/AudioSource.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace wingbell {

class WakeUp;

/// An announcement's sound: written by one thread while another one plays it.
///
/// Without any lock: neither thread ever waits for the other. Memory is taken a second at a time,
/// 2 bytes a sample, and given back with the sound.
class SpokenSound final : public AudioSource
{
public:
    static constexpr std::size_t mostSeconds = 90;
    static constexpr std::size_t mostSamples = mostSeconds * sampleRate;

    /// Raises `played` once its end has been read, when the last owner gives it up, and when
    /// `noticeAt` samples have been read.
    explicit SpokenSound(
        std::shared_ptr<const WakeUp> played, std::size_t noticeAt = mostSamples + 1);
    SpokenSound(const SpokenSound&) = delete;
    SpokenSound& operator=(const SpokenSound&) = delete;
    ~SpokenSound() override;

    /// Appends `samples`; what goes beyond `mostSamples` is left out. Writing thread.
    void append(std::span<const float> samples);

    /// Nothing will be appended any more. Writing thread.
    void end();

    /// Ends it with what is read next, which fades to silence so that there is no click. Any
    /// thread.
    void fadeOut() { m_isToFade.store(true); }
    [[nodiscard]] bool isToFade() const { return m_isToFade.load(); }

    /// How many samples have been read. Any thread.
    [[nodiscard]] std::size_t played() const { return m_read.load(); }

    [[nodiscard]] std::size_t read(std::span<float> samples) override;
    [[nodiscard]] bool isFinished() const override;

private:
    using Second = std::array<std::int16_t, sampleRate>;

    std::shared_ptr<const WakeUp> m_played;
    std::size_t m_noticeAt;
    std::array<std::unique_ptr<Second>, mostSeconds> m_seconds;
    std::atomic<std::size_t> m_written = 0; ///< samples; those before it do not change any more
    std::atomic<std::size_t> m_read = 0;
    std::atomic<bool> m_ended = false;
    std::atomic<bool> m_isToFade = false;
    std::atomic<bool> m_hasFaded = false;
};

} // namespace wingbell
