#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace wingbell {

/// A lock-free ring buffer of packets for a single producer and a single consumer: hands packets
/// from one thread to another, neither of which ever waits for the other.
///
/// The packets stand one behind the other, each with its size before it, so that small ones take
/// little memory. Bounded: what comes while it is full is dropped. Allocates only when built.
class PacketRing
{
public:
    /// In bytes.
    static constexpr std::size_t maxPacketSize = 1500;

    /// `capacity`: bytes for all packets together, each of which takes up to 6 more than it has. A
    /// multiple of 4, and at least twice the largest packet: so that one always fits while it is
    /// empty.
    explicit PacketRing(std::size_t capacity);

    /// Copies `packet` in. False when it is dropped: it is empty or too large, or the ring is full.
    /// One thread at a time, the producer.
    bool put(std::span<const std::uint8_t> packet);

    /// The oldest packet, valid until removeFirst(); empty when there is none. Consumer's thread.
    [[nodiscard]] std::span<const std::uint8_t> first() const;

    /// Frees the place of the packet that first() returned. Consumer's thread.
    void removeFirst();

private:
    [[nodiscard]] std::size_t toEnd(std::size_t position) const;
    [[nodiscard]] std::size_t firstPosition() const;
    [[nodiscard]] std::size_t sizeAt(std::size_t position) const;

    std::vector<std::uint8_t> m_bytes;
    // Both count bytes from the beginning; the remainder is the place in the ring.
    std::atomic<std::size_t> m_put{0};
    std::atomic<std::size_t> m_removed{0};
};

} // namespace wingbell
