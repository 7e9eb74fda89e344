#pragma once

#include <cstddef>
#include <span>

namespace wingbell {

/// A sound that is played once, from its beginning to its end: an announcement.
class SoundSource
{
public:
    virtual ~SoundSource() = default;

    /// Fills the beginning of `samples` with what comes next and returns how many there were. Fewer
    /// than asked for means there are no more at the moment. Called on the mixing thread; must not
    /// wait.
    [[nodiscard]] virtual std::size_t read(std::span<float> samples) = 0;

    /// True when nothing will come any more. Any thread.
    [[nodiscard]] virtual bool isFinished() const = 0;
};

} // namespace wingbell
