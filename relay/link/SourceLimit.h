#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace wingbell {

/// Lets through the packets of the first few sources that one crew member sends from, and no
/// others.
///
/// The media library keeps keys for every source it has ever heard of, before it knows whether the
/// packet is genuine: a stranger who makes up a source for each packet would fill the memory.
class SourceLimit
{
public:
    /// A browser has one; it may have restarted a few times.
    static constexpr std::size_t mostSources = 8;

    /// `packet` is of RTP or RTCP, encrypted or not. False as well for one too short to name a
    /// source.
    [[nodiscard]] bool admits(std::span<const std::uint8_t> packet);

private:
    std::vector<std::uint32_t> m_sources;
};

} // namespace wingbell
