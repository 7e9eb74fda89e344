#include "relay/link/SourceLimit.h"

#include <algorithm>
#include <optional>

namespace wingbell {

namespace {

/// Packets of RTCP have these numbers where RTP has its mark and payload type.
bool isControl(std::uint8_t second)
{
    return second >= 192 && second < 224;
}

std::optional<std::uint32_t> sourceOf(std::span<const std::uint8_t> packet)
{
    if (packet.size() < 2) {
        return std::nullopt;
    }
    const std::size_t begin = isControl(packet[1]) ? 4 : 8;
    if (packet.size() < begin + 4) {
        return std::nullopt;
    }
    std::uint32_t source = 0;
    for (const std::uint8_t byte : packet.subspan(begin, 4)) {
        source = source << 8U | byte;
    }
    return source;
}

} // namespace

bool SourceLimit::admits(std::span<const std::uint8_t> packet)
{
    const auto source = sourceOf(packet);
    if (!source) {
        return false;
    }
    if (std::ranges::find(m_sources, *source) != m_sources.end()) {
        return true;
    }
    if (m_sources.size() >= mostSources) {
        return false;
    }
    m_sources.push_back(*source);
    return true;
}

} // namespace wingbell
