#pragma once

#include <cstdint>
#include <span>

namespace wingbell {

/// Where the mix for one listener goes.
class PacketSink
{
public:
    virtual ~PacketSink() = default;

    /// Takes one Opus packet of one tick. Called on the mixing thread once a tick, for as long as
    /// the listener is in the room; must neither wait nor keep `packet`.
    virtual void send(std::span<const std::uint8_t> packet) = 0;
};

} // namespace wingbell
