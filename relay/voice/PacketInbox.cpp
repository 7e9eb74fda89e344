#include "relay/voice/PacketInbox.h"

#include <algorithm>
#include <span>

namespace wingbell {

PacketInbox::PacketInbox()
    : m_slots(mostPackets)
{
}

bool PacketInbox::put(const RtpPacket& packet)
{
    if (packet.payload.size() > JitterBuffer::mostPayload) {
        return false;
    }
    const std::lock_guard lock(m_putting);
    const std::size_t put = m_put.load(std::memory_order_relaxed);
    if (put - m_removed.load(std::memory_order_acquire) == mostPackets) {
        return false;
    }
    Slot& slot = m_slots[put % mostPackets];
    std::copy(packet.payload.begin(), packet.payload.end(), slot.payload.begin());
    slot.packet = packet;
    slot.packet.payload = std::span(slot.payload).first(packet.payload.size());
    m_put.store(put + 1, std::memory_order_release);
    return true;
}

std::optional<RtpPacket> PacketInbox::first() const
{
    const std::size_t removed = m_removed.load(std::memory_order_relaxed);
    if (m_put.load(std::memory_order_acquire) == removed) {
        return std::nullopt;
    }
    return m_slots[removed % mostPackets].packet;
}

void PacketInbox::removeFirst()
{
    m_removed.store(m_removed.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

} // namespace wingbell
