#include "relay/link/PacketOutbox.h"

#include <algorithm>

namespace wingbell {

PacketOutbox::PacketOutbox()
    : m_slots(mostPackets)
{
}

bool PacketOutbox::put(std::span<const std::uint8_t> packet)
{
    const std::size_t put = m_put.load(std::memory_order_relaxed);
    const std::size_t waiting = put - m_removed.load(std::memory_order_acquire);
    if (packet.empty() || packet.size() > largestPacket || waiting == mostPackets) {
        return false;
    }
    Slot& slot = m_slots[put % mostPackets];
    slot.size = packet.size();
    std::copy(packet.begin(), packet.end(), slot.bytes.begin());
    m_put.store(put + 1, std::memory_order_release);
    return true;
}

std::span<const std::uint8_t> PacketOutbox::first() const
{
    const std::size_t removed = m_removed.load(std::memory_order_relaxed);
    if (m_put.load(std::memory_order_acquire) == removed) {
        return {};
    }
    const Slot& slot = m_slots[removed % mostPackets];
    return {slot.bytes.data(), slot.size};
}

void PacketOutbox::removeFirst()
{
    m_removed.fetch_add(1, std::memory_order_release);
}

} // namespace wingbell
