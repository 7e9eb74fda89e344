#include "relay/audio/PacketRing.h"

#include <algorithm>

namespace wingbell {

PacketRing::PacketRing(std::size_t maxPackets)
    : m_slots(maxPackets)
{
}

bool PacketRing::put(std::span<const std::uint8_t> packet)
{
    const std::size_t put = m_put.load(std::memory_order_relaxed);
    const std::size_t waiting = put - m_removed.load(std::memory_order_acquire);
    if (packet.empty() || packet.size() > maxPacketSize || waiting == m_slots.size()) {
        return false;
    }
    Slot& slot = m_slots[put % m_slots.size()];
    slot.size = packet.size();
    std::copy(packet.begin(), packet.end(), slot.bytes.begin());
    m_put.store(put + 1, std::memory_order_release);
    return true;
}

std::span<const std::uint8_t> PacketRing::first() const
{
    const std::size_t removed = m_removed.load(std::memory_order_relaxed);
    if (m_put.load(std::memory_order_acquire) == removed) {
        return {};
    }
    const Slot& slot = m_slots[removed % m_slots.size()];
    return {slot.bytes.data(), slot.size};
}

void PacketRing::removeFirst()
{
    m_removed.store(m_removed.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

} // namespace wingbell
