#pragma once

#include "relay/audio/LossShare.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>

namespace wingbell {

/// Keeps the last packets of a stream as they were sent, for a receiver that asks for them again
/// (NACK, RFC 4585). Not thread-safe; allocates nothing.
class RtpHistory
{
public:
    using Clock = std::chrono::steady_clock;

    /// So many packets are kept: 320 ms with 20 ms each. What is older comes too late to be heard.
    static constexpr std::size_t capacity = 16;
    /// In bytes. Longer packets are not kept; voice at our bit rate stays below, also as RED.
    static constexpr std::size_t maxPacket = 512;
    /// A packet is sent again so often at most, and not sooner than that after the last time: a
    /// peer cannot have the desk send much more than it sends anyway.
    static constexpr int maxTimes = 3;
    static constexpr Clock::duration minInterval = std::chrono::milliseconds(10);

    /// Keeps a packet, protected, with its sequence number.
    void keep(std::uint16_t sequence, std::span<const std::uint8_t> packet);

    /// The packet with this number, which is to be sent again now; empty if it is not to be sent.
    /// Valid until the next keep().
    [[nodiscard]] std::span<const std::uint8_t>
    sendAgain(std::uint16_t sequence, Clock::time_point now);

    /// The share of packets that were asked for.
    [[nodiscard]] const LossShare& loss() const { return m_loss; }

private:
    struct Entry
    {
        std::uint16_t sequence = 0;
        std::uint16_t size = 0; ///< 0: none
        int times = 0;          ///< it was sent again
        Clock::time_point last; ///< when
        std::array<std::uint8_t, maxPacket> bytes = {};
    };

    std::array<Entry, capacity> m_entries;
    LossShare m_loss;
};

} // namespace wingbell
