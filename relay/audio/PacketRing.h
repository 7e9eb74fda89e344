#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace wingbell {

/// A lock-free ring buffer of packets for a single producer and a single consumer: hands packets
/// from one thread to another, neither of which ever waits for the other.
///
/// Bounded: what comes while it is full is dropped. Allocates only when built.
class PacketRing
{
public:
    /// In bytes.
    static constexpr std::size_t maxPacketSize = 1500;

    explicit PacketRing(std::size_t maxPackets);

    [[nodiscard]] std::size_t maxPackets() const { return m_slots.size(); }

    /// Copies `packet` in. False when it is dropped: it is empty or too large, or the ring is full.
    /// One thread at a time, the producer.
    bool put(std::span<const std::uint8_t> packet);

    /// The oldest packet, valid until removeFirst(); empty when there is none. Consumer's thread.
    [[nodiscard]] std::span<const std::uint8_t> first() const;

    /// Frees the slot of the packet that first() returned. Consumer's thread.
    void removeFirst();

private:
    struct Slot
    {
        std::size_t size;
        std::array<std::uint8_t, maxPacketSize> bytes;
    };

    std::vector<Slot> m_slots;
    // Both count from the beginning; the remainder is the place in the ring.
    std::atomic<std::size_t> m_put{0};
    std::atomic<std::size_t> m_removed{0};
};

} // namespace wingbell
