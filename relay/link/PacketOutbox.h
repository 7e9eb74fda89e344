#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace wingbell {

/// Hands packets from one thread to another, neither of which ever waits for the other.
///
/// Bounded: what comes while it is full is dropped. Allocates only when built.
class PacketOutbox
{
public:
    static constexpr std::size_t mostPackets = 16;
    /// In bytes: the largest packet of Opus there is.
    static constexpr std::size_t largestPacket = 1275;

    PacketOutbox();

    /// Copies `packet` in. False when it is dropped: there is no room, or it is too large. Writing
    /// thread.
    bool put(std::span<const std::uint8_t> packet);

    /// The oldest packet, valid until removeFirst(); an empty one when there is none. Reading
    /// thread.
    [[nodiscard]] std::span<const std::uint8_t> first() const;

    /// Makes room of the packet that first() told of. Reading thread.
    void removeFirst();

private:
    struct Slot
    {
        std::size_t size;
        std::array<std::uint8_t, largestPacket> bytes;
    };

    std::vector<Slot> m_slots;
    // Counted from the beginning; where they lie in the ring is the remainder.
    std::atomic<std::size_t> m_put{0};
    std::atomic<std::size_t> m_removed{0};
};

} // namespace wingbell
