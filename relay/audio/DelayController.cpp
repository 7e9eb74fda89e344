#include "relay/audio/DelayController.h"

#include <algorithm>

namespace wingbell {

namespace {

/// How long after a trim, on top of a window, an underrun is still attributed to it.
constexpr std::size_t attributionTime = std::size_t{sampleRate} * 5;

/// After this time without an underrun the window shrinks by a tenth.
constexpr std::size_t calmStep = std::size_t{sampleRate} * 10;

} // namespace

DelayController::MinimumDepth::MinimumDepth(std::size_t part, std::size_t least)
    : m_part(part)
    , m_least(least)
{
}

std::size_t
DelayController::MinimumDepth::played(std::size_t samples, std::size_t depth, std::size_t window)
{
    m_found = m_elapsed == 0 ? depth : std::min(m_found, depth);
    m_elapsed += samples;
    if (m_elapsed < window / m_part) {
        return 0;
    }
    m_elapsed = 0;
    return m_found >= m_least ? m_found : 0;
}

DelayController::DelayController()
    : m_minimums{
          MinimumDepth(1, smallExcess), MinimumDepth(5, largeExcess),
          MinimumDepth(10, veryLargeExcess)}
{
}

std::size_t DelayController::played(std::size_t samples, std::size_t depth)
{
    m_sinceTrim = std::min(m_sinceTrim + samples, attributionTime + maxWindow);
    m_calm += samples;
    if (m_calm >= calmStep) {
        m_calm = 0;
        m_window = std::max(minWindow, m_window / 10 * 9);
    }
    std::size_t excess = 0;
    for (MinimumDepth& minimum : m_minimums) {
        excess = std::max(excess, minimum.played(samples, depth, m_window));
    }
    return excess;
}

void DelayController::trimmed()
{
    for (MinimumDepth& minimum : m_minimums) {
        minimum.restart();
    }
    m_hasTrimmed = true;
    m_sinceTrim = 0;
}

void DelayController::underrun()
{
    m_calm = 0;
    if (m_hasTrimmed && m_sinceTrim < attributionTime + m_window) {
        m_window = std::min(maxWindow, m_window * 2);
        m_hasTrimmed = false;
    }
}

} // namespace wingbell
