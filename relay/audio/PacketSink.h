#pragma once

#include <cstdint>
#include <span>

namespace wingbell {

/// Where the encoded mix for one listener goes.
class PacketSink
{
public:
    virtual ~PacketSink() = default;

    /// Takes one Opus packet, of one mixer cycle. Called on the mixer thread once a cycle while the
    /// listener is in the room; must not block, and must not keep `packet`.
    virtual void send(std::span<const std::uint8_t> packet) = 0;
};

} // namespace wingbell
