#include "relay/audio/PacketRing.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace wingbell {

namespace {

/// The size of a packet, before its bytes. 0: the next packet is at the beginning of the ring.
using Size = std::uint16_t;

/// What a packet takes: always a multiple of 4, so that there is place for a size before the end.
constexpr std::size_t takenBy(std::size_t packet)
{
    return (sizeof(Size) + packet + 3) / 4 * 4;
}

} // namespace

PacketRing::PacketRing(std::size_t capacity)
    : m_bytes(capacity)
{
    assert(capacity % 4 == 0 && capacity >= 2 * takenBy(maxPacketSize));
}

bool PacketRing::put(std::span<const std::uint8_t> packet)
{
    if (packet.empty() || packet.size() > maxPacketSize) {
        return false;
    }
    std::size_t put = m_put.load(std::memory_order_relaxed);
    const std::size_t needed = takenBy(packet.size());
    const std::size_t skipped = toEnd(put) < needed ? toEnd(put) : 0; // no packet is split
    const std::size_t taken = put - m_removed.load(std::memory_order_acquire);
    if (taken + skipped + needed > m_bytes.size()) {
        return false;
    }
    if (skipped > 0) {
        std::memset(&m_bytes[put % m_bytes.size()], 0, sizeof(Size));
        put += skipped;
    }
    const auto size = static_cast<Size>(packet.size());
    std::uint8_t* const place = &m_bytes[put % m_bytes.size()];
    std::memcpy(place, &size, sizeof size);
    std::copy(packet.begin(), packet.end(), place + sizeof size);
    m_put.store(put + needed, std::memory_order_release);
    return true;
}

std::span<const std::uint8_t> PacketRing::first() const
{
    if (m_put.load(std::memory_order_acquire) == m_removed.load(std::memory_order_relaxed)) {
        return {};
    }
    const std::size_t position = firstPosition();
    return std::span(m_bytes).subspan(position % m_bytes.size() + sizeof(Size), sizeAt(position));
}

void PacketRing::removeFirst()
{
    const std::size_t position = firstPosition();
    m_removed.store(position + takenBy(sizeAt(position)), std::memory_order_release);
}

std::size_t PacketRing::toEnd(std::size_t position) const
{
    return m_bytes.size() - position % m_bytes.size();
}

/// Of the oldest packet, which must be there.
std::size_t PacketRing::firstPosition() const
{
    const std::size_t removed = m_removed.load(std::memory_order_relaxed);
    return sizeAt(removed) == 0 ? removed + toEnd(removed) : removed;
}

std::size_t PacketRing::sizeAt(std::size_t position) const
{
    Size size = 0;
    std::memcpy(&size, &m_bytes[position % m_bytes.size()], sizeof size);
    return size;
}

} // namespace wingbell
