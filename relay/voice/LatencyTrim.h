#pragma once

#include "relay/voice/AudioFormat.h"

#include <array>
#include <cstddef>

namespace wingbell {

/// Tells how many of the samples that wait in a jitter buffer need not wait.
///
/// What was never needed during a window of time is too much: about a second for a little, a fifth
/// of it for much, a tenth for very much. A packet that comes late soon after something was taken
/// out shows that it had been needed after all: the windows double, and fall back slowly in calm
/// times.
class LatencyTrim
{
public:
    LatencyTrim();

    /// From here on an excess is large, in samples: 60 ms.
    static constexpr std::size_t large = std::size_t{sampleRate} * 60 / 1000;

    /// From here on it is very large: 200 ms.
    static constexpr std::size_t veryLarge = std::size_t{sampleRate} * 200 / 1000;

    /// An excess below this is left alone, in samples: 5 ms.
    static constexpr std::size_t small = std::size_t{sampleRate} * 5 / 1000;

    static constexpr std::size_t shortestWindow = sampleRate;
    static constexpr std::size_t longestWindow = std::size_t{sampleRate} * 30;

    /// `samples` have been played and `depth` are waiting now. The result is how many are too many,
    /// mostly none.
    [[nodiscard]] std::size_t played(std::size_t samples, std::size_t depth);

    /// As many as were too many have been taken out.
    void trimmed();

    /// A packet came so late that the latency has grown for it.
    void grew();

    /// In samples.
    [[nodiscard]] std::size_t window() const { return m_window; }

private:
    /// The least depth during a part of the window, at the end of which it is told if it is at
    /// least `least`.
    class Watch
    {
    public:
        Watch(std::size_t part, std::size_t least);

        [[nodiscard]] std::size_t
        played(std::size_t samples, std::size_t depth, std::size_t window);
        void restart() { m_elapsed = 0; }

    private:
        std::size_t m_part;
        std::size_t m_least;
        std::size_t m_elapsed = 0;
        std::size_t m_found = 0;
    };

    std::size_t m_window = shortestWindow;
    std::array<Watch, 3> m_watches;
    bool m_hasTrimmed = false;
    std::size_t m_sinceTrim = 0;
    std::size_t m_calm = 0;
};

} // namespace wingbell
