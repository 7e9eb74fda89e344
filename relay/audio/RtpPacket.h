#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace wingbell {

/// What is needed of an RTP packet (RFC 3550).
struct RtpPacket
{
    std::uint8_t payloadType = 0;
    std::uint16_t sequence = 0;
    std::uint32_t timestamp = 0;
    std::uint32_t ssrc = 0;
    std::span<const std::uint8_t> payload; ///< a view of the bytes that were read; may be empty
};

/// Reads an RTP packet of version 2 without its contributing sources, header extension and padding.
/// Returns nullopt if it is not a whole packet, or is RTCP. Any bytes are safe.
[[nodiscard]] std::optional<RtpPacket> readRtpPacket(std::span<const std::uint8_t> bytes);

/// How far a sequence number is ahead of another one, which it may have wrapped around; negative if
/// it is behind.
[[nodiscard]] constexpr int ahead(std::uint16_t sequence, std::uint16_t from)
{
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(sequence - from));
}

} // namespace wingbell
