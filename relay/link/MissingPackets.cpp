#include "relay/link/MissingPackets.h"

#include <algorithm>

namespace wingbell {

void MissingPackets::removeIf(auto isOver)
{
    const auto end = m_missing.begin() + static_cast<std::ptrdiff_t>(m_count);
    m_count = static_cast<std::size_t>(
        std::remove_if(m_missing.begin(), end, isOver) - m_missing.begin());
}

void MissingPackets::received(std::uint32_t source, std::uint16_t sequence)
{
    if (!m_highest || m_source != source) {
        m_source = source;
        m_highest = sequence;
        m_count = 0;
        return;
    }
    const int ahead = static_cast<std::int16_t>(static_cast<std::uint16_t>(sequence - *m_highest));
    if (ahead <= 0) {
        removeIf([sequence](const Missing& missing) { return missing.sequence == sequence; });
        return;
    }
    const auto gap = static_cast<std::size_t>(ahead - 1);
    if (gap > maxMissing) {
        m_count = 0;
    } else {
        // The oldest make room.
        const std::size_t tooMany = std::max(m_count + gap, maxMissing) - maxMissing;
        std::rotate(
            m_missing.begin(), m_missing.begin() + static_cast<std::ptrdiff_t>(tooMany),
            m_missing.end());
        m_count -= tooMany;
        for (std::size_t number = 1; number <= gap; ++number) {
            m_missing[m_count++] = {static_cast<std::uint16_t>(*m_highest + number), 0, {}};
        }
    }
    m_highest = sequence;
}

std::span<const std::uint16_t> MissingPackets::due(Clock::time_point now)
{
    std::size_t count = 0;
    for (Missing& missing : std::span(m_missing).first(m_count)) {
        if (missing.requests == 0 || now - missing.last >= interval) {
            ++missing.requests;
            missing.last = now;
            m_due[count++] = missing.sequence;
        }
    }
    removeIf([](const Missing& missing) { return missing.requests == maxRequests; });
    return std::span(m_due).first(count);
}

} // namespace wingbell
