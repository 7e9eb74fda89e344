#include "relay/voice/LatencyTrim.h"

#include <algorithm>

namespace wingbell {

namespace {

/// A large excess is taken out after this part of the window.
constexpr std::size_t shortPart = 5;

/// How long after a trim, beside a window, a late packet is still put down to it.
constexpr std::size_t blame = std::size_t{sampleRate} * 5;

/// After each time as long without a late packet the window shrinks by a tenth.
constexpr std::size_t calmStep = std::size_t{sampleRate} * 10;

} // namespace

void LatencyTrim::Watch::note(std::size_t samples, std::size_t depth)
{
    least = elapsed == 0 ? depth : std::min(least, depth);
    elapsed += samples;
}

std::size_t LatencyTrim::played(std::size_t samples, std::size_t depth)
{
    m_long.note(samples, depth);
    m_short.note(samples, depth);
    m_sinceTrim = std::min(m_sinceTrim + samples, blame + longestWindow);
    m_calm += samples;
    if (m_calm >= calmStep) {
        m_calm = 0;
        m_window = std::max(shortestWindow, m_window / 10 * 9);
    }
    std::size_t excess = 0;
    if (m_short.elapsed >= m_window / shortPart) {
        excess = m_short.least >= large ? m_short.least : 0;
        m_short = {};
    }
    if (m_long.elapsed >= m_window) {
        excess = std::max(excess, m_long.least >= small ? m_long.least : 0);
        m_long = {};
    }
    return excess;
}

void LatencyTrim::trimmed()
{
    m_long = {};
    m_short = {};
    m_hasTrimmed = true;
    m_sinceTrim = 0;
}

void LatencyTrim::grew()
{
    m_calm = 0;
    if (m_hasTrimmed && m_sinceTrim < blame + m_window) {
        m_window = std::min(longestWindow, m_window * 2);
        m_hasTrimmed = false;
    }
}

} // namespace wingbell
