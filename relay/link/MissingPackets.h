#pragma once

#include "relay/audio/LossShare.h"
#include "relay/audio/RtpPacket.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>

namespace wingbell {

/// Knows which packets of a stream that comes in are missing, and when to ask for them (NACK,
/// RFC 4585). Not thread-safe; allocates nothing.
class MissingPackets
{
public:
    using Clock = std::chrono::steady_clock;

    /// A packet is asked for as soon as a later one has come, then again after each `interval`.
    static constexpr Clock::duration interval = std::chrono::milliseconds(15);
    static constexpr int maxRequests = 3;
    /// While many packets are lost, the next one is asked for without waiting for a later one, once
    /// it is overdue by that much. At most so many in a row: the sender may have paused.
    static constexpr Clock::duration tolerance = std::chrono::milliseconds(10);
    static constexpr int maxOverdue = 2;
    /// A longer gap is not asked for: most of it would come too late to be heard.
    static constexpr std::size_t maxMissing = 8;

    /// A packet has come, and with it copies of as many before it (RED).
    void received(const RtpPacket& packet, std::size_t copies, Clock::time_point now);

    /// The numbers of the packets to ask for now, oldest first; counts as asking. Valid until the
    /// next call.
    [[nodiscard]] std::span<const std::uint16_t> due(Clock::time_point now);

    /// When there will be packets to ask for, if none come; time_point::max() if never.
    [[nodiscard]] Clock::time_point nextDue() const;

    /// The stream whose packets they are.
    [[nodiscard]] std::uint32_t source() const { return m_source; }

private:
    struct Missing
    {
        std::uint16_t sequence = 0;
        int requests = 0;
        Clock::time_point last; ///< request
    };

    void begin(const RtpPacket& packet, Clock::time_point now);
    void removeIf(auto isOver);
    void addMissing(std::size_t count);
    void takeLatest(const RtpPacket& packet, Clock::time_point now);
    [[nodiscard]] Clock::time_point overdueAt() const;

    std::uint32_t m_source = 0;
    bool m_hasBegun = false;
    std::uint16_t m_highest = 0; ///< of the packets that have come or are asked for
    std::uint16_t m_latest = 0;  ///< of those that have come, but for copies
    std::uint32_t m_latestTimestamp = 0;
    Clock::time_point m_latestCame;
    Clock::duration m_packetInterval{}; ///< of the sender; zero while it is not known
    int m_overdue = 0;                  ///< asked for since the latest came
    LossShare m_loss;
    std::array<Missing, maxMissing> m_missing = {}; ///< the first m_count
    std::size_t m_count = 0;
    std::array<std::uint16_t, maxMissing> m_due = {};
};

} // namespace wingbell
