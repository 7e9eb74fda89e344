#pragma once

#include "relay/audio/AudioIo.h"

#include <array>
#include <cstddef>

namespace wingbell {

/// Keeps the playout delay small: says how many of the samples waiting in a jitter buffer are in
/// excess of what is needed.
///
/// The excess is the minimum depth over a window of time: about a second for a small excess, a
/// fifth of that for a large one, a tenth for a very large one. An underrun soon after a trim shows
/// that the samples had been needed after all: the window doubles, and shrinks again slowly while
/// there are no underruns.
class DelayController
{
public:
    DelayController();

    /// An excess is large from here on, in samples: 60 ms.
    static constexpr std::size_t largeExcess = std::size_t{sampleRate} * 60 / 1000;

    /// And very large from here on: 200 ms.
    static constexpr std::size_t veryLargeExcess = std::size_t{sampleRate} * 200 / 1000;

    /// A smaller excess is left alone, in samples: 5 ms.
    static constexpr std::size_t smallExcess = std::size_t{sampleRate} * 5 / 1000;

    static constexpr std::size_t minWindow = sampleRate;
    static constexpr std::size_t maxWindow = std::size_t{sampleRate} * 30;

    /// To be called when `samples` have been played and `depth` are waiting. Returns the excess in
    /// samples, mostly 0.
    [[nodiscard]] std::size_t played(std::size_t samples, std::size_t depth);

    /// To be called when the excess has been removed.
    void trimmed();

    /// To be called when a packet was so late that the delay has grown for it.
    void underrun();

    /// The length of the window in samples.
    [[nodiscard]] std::size_t window() const { return m_window; }

private:
    /// The minimum depth over 1/`part` of the window, returned at the end of it if it is at least
    /// `least`.
    class MinimumDepth
    {
    public:
        MinimumDepth(std::size_t part, std::size_t least);

        [[nodiscard]] std::size_t
        played(std::size_t samples, std::size_t depth, std::size_t window);
        void restart() { m_elapsed = 0; }

    private:
        std::size_t m_part;
        std::size_t m_least;
        std::size_t m_elapsed = 0;
        std::size_t m_found = 0;
    };

    std::size_t m_window = minWindow;
    std::array<MinimumDepth, 3> m_minimums;
    bool m_hasTrimmed = false;
    std::size_t m_sinceTrim = 0;
    std::size_t m_calm = 0;
};

} // namespace wingbell
