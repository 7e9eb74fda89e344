#pragma once

#include "relay/voice/JitterBuffer.h"
#include "relay/voice/RtpPacket.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

namespace wingbell {

/// Hands packets from any threads to the mixing thread, which never waits for them.
///
/// Bounded: what comes while it is full is dropped. Allocates only when built.
class PacketInbox
{
public:
    static constexpr std::size_t mostPackets = 32;

    PacketInbox();

    /// Copies `packet` in. False when it is dropped: there is no room, or it is larger than
    /// JitterBuffer::mostPayload. Any thread; waits for other put()s only.
    bool put(const RtpPacket& packet);

    /// The oldest packet, valid until removeFirst(); nothing when there is none. Mixing thread
    /// only.
    [[nodiscard]] std::optional<RtpPacket> first() const;

    /// Makes room of the packet that first() told of. Mixing thread only.
    void removeFirst();

private:
    struct Slot
    {
        RtpPacket packet; ///< its payload lies in `payload`
        std::array<std::uint8_t, JitterBuffer::mostPayload> payload;
    };

    std::vector<Slot> m_slots;
    std::mutex m_putting;
    // Counted from the beginning; where they lie in the ring is the remainder.
    std::atomic<std::size_t> m_put{0};
    std::atomic<std::size_t> m_removed{0};
};

} // namespace wingbell
