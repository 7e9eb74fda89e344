#pragma once

#include "relay/audio/RtpPacket.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace wingbell {

// Redundant audio data (RED, RFC 2198): an RTP payload with a packet of Opus and copies of those
// before it, so that a lost packet comes with a later one.

inline constexpr std::uint8_t opusPayloadType = 111;
inline constexpr std::uint8_t redPayloadType = 63;

/// The packets of Opus that an RTP packet carries. Each of them is a view of its bytes.
struct OpusPackets
{
    static constexpr std::size_t maxCopies = 3;

    RtpPacket newest;
    std::array<RtpPacket, maxCopies> copies; ///< of the packets before; the first `copyCount`
    std::size_t copyCount = 0;               ///< the oldest comes first

    [[nodiscard]] std::span<const RtpPacket> older() const
    {
        return std::span(copies).first(copyCount);
    }
};

/// Reads Opus and RED. In RED, copies that do not follow each other are left out, since their
/// sequence numbers are not known. Returns false if `packet` is neither. Any bytes are safe.
[[nodiscard]] bool readOpusPackets(const RtpPacket& packet, OpusPackets& packets);

/// Writes RED: keeps the last packets for that. Not thread-safe; allocates nothing.
class RedWriter
{
public:
    static constexpr std::size_t maxCopies = 2;
    /// In bytes. There is no copy of a longer packet, nor of those before it.
    static constexpr std::size_t maxCopy = 192;
    /// By how much a payload can be longer than its newest packet.
    static constexpr std::size_t maxOverhead = maxCopies * (4 + maxCopy) + 1;

    /// Keeps `opus`, which lasts `samples`, for the packets that follow.
    void keep(std::span<const std::uint8_t> opus, std::uint32_t samples);

    /// Writes RED of `opus` and copies of the last `copies` packets kept. Returns the size; `out`
    /// must have room for `opus` and maxOverhead.
    [[nodiscard]] std::size_t write(
        std::span<const std::uint8_t> opus, std::size_t copies, std::span<std::uint8_t> out) const;

private:
    struct Kept
    {
        std::size_t size = 0; ///< 0: none
        std::uint32_t samples = 0;
        std::array<std::uint8_t, maxCopy> bytes = {};
    };

    std::array<Kept, maxCopies> m_kept; ///< the latest comes first
};

} // namespace wingbell
