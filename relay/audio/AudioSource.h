#pragma once

#include <cstddef>
#include <span>

namespace wingbell {

/// Audio that is played once, from beginning to end: an announcement.
class AudioSource
{
public:
    virtual ~AudioSource() = default;

    /// Fills the beginning of `samples` with what comes next and returns how many samples that
    /// were. Fewer than asked for: there are no more at the moment. Called on the mixer thread;
    /// must not block.
    [[nodiscard]] virtual std::size_t read(std::span<float> samples) = 0;

    /// True when no more samples will come. Any thread.
    [[nodiscard]] virtual bool isFinished() const = 0;
};

} // namespace wingbell
