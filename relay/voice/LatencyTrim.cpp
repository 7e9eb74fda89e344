#include "relay/voice/LatencyTrim.h"

#include <algorithm>

namespace wingbell {

namespace {

/// How long after a trim, beside a window, a late packet is still put down to it.
constexpr std::size_t blame = std::size_t{sampleRate} * 5;

/// After each time as long without a late packet the window shrinks by a tenth.
constexpr std::size_t calmStep = std::size_t{sampleRate} * 10;

} // namespace

LatencyTrim::Watch::Watch(std::size_t part, std::size_t least)
    : m_part(part)
    , m_least(least)
{
}

std::size_t LatencyTrim::Watch::played(std::size_t samples, std::size_t depth, std::size_t window)
{
    m_found = m_elapsed == 0 ? depth : std::min(m_found, depth);
    m_elapsed += samples;
    if (m_elapsed < window / m_part) {
        return 0;
    }
    m_elapsed = 0;
    return m_found >= m_least ? m_found : 0;
}

LatencyTrim::LatencyTrim()
    : m_watches{Watch(1, small), Watch(5, large), Watch(10, veryLarge)}
{
}

std::size_t LatencyTrim::played(std::size_t samples, std::size_t depth)
{
    m_sinceTrim = std::min(m_sinceTrim + samples, blame + longestWindow);
    m_calm += samples;
    if (m_calm >= calmStep) {
        m_calm = 0;
        m_window = std::max(shortestWindow, m_window / 10 * 9);
    }
    std::size_t excess = 0;
    for (Watch& watch : m_watches) {
        excess = std::max(excess, watch.played(samples, depth, m_window));
    }
    return excess;
}

void LatencyTrim::trimmed()
{
    for (Watch& watch : m_watches) {
        watch.restart();
    }
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
