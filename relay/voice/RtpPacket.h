#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace wingbell {

/// What matters of an RTP packet.
struct RtpPacket
{
    std::uint8_t payloadType = 0;
    std::uint16_t sequence = 0;
    std::uint32_t timestamp = 0;
    std::uint32_t ssrc = 0;
    std::span<const std::uint8_t> payload; ///< lies within what was read; may be empty
};

/// Reads an RTP packet of version 2, leaving out contributing sources, header extension and
/// padding. Nothing for whatever is no whole packet or is RTCP; any bytes are safe.
[[nodiscard]] std::optional<RtpPacket> readRtpPacket(std::span<const std::uint8_t> bytes);

} // namespace wingbell
