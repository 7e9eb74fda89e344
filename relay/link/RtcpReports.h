#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace wingbell {

/// Keeps the statistics of one stream that is received and of one that is sent, and writes and
/// reads the RTCP reports about them (RFC 3550, section 6). Not thread-safe; allocates nothing.
class RtcpReports
{
public:
    using Clock = std::chrono::steady_clock;

    /// What write() needs, in bytes.
    static constexpr std::size_t maxReport = 28 + 24 + 24;

    /// For the stream that we send, with this SSRC.
    explicit RtcpReports(std::uint32_t ownSource);

    /// Counts an RTP packet that has come, with its header.
    void received(std::span<const std::uint8_t> packet, Clock::time_point now);

    /// Counts an RTP packet that was sent: its timestamp and the size of its payload in bytes.
    void sent(std::uint32_t timestamp, std::size_t payload, Clock::time_point now);

    /// Reads what the peer reports: when its sender reports came, and which of our packets it asks
    /// for again (NACK, RFC 4585). Returns the numbers of these, at most `maxRequested` of them,
    /// valid until the next call. Any bytes are safe.
    [[nodiscard]] std::span<const std::uint16_t>
    take(std::span<const std::uint8_t> packet, Clock::time_point now);
    static constexpr std::size_t maxRequested = 32;

    /// Writes a compound packet: a sender report (a receiver report while nothing was sent), with
    /// a report block about what was received, and our name. Returns the part of `buffer` that it
    /// fills.
    [[nodiscard]] std::span<std::uint8_t> write(
        std::span<std::uint8_t, maxReport> buffer, Clock::time_point now,
        std::chrono::system_clock::time_point wallClock);

    /// Writes a compound packet that asks for packets of the peer's stream `source` again (NACK): a
    /// receiver report without blocks and the request. `numbers`: at least one, the oldest first.
    /// Returns the part of `buffer` that it fills, at most 20 bytes and 4 for each number.
    [[nodiscard]] std::span<std::uint8_t> writeNack(
        std::span<std::uint8_t> buffer, std::uint32_t source,
        std::span<const std::uint16_t> numbers) const;

private:
    /// What is known of the peer's stream.
    struct Reception
    {
        std::uint32_t source = 0;
        std::uint32_t highest = 0; ///< sequence number, extended by its wraps
        std::uint32_t base = 0;    ///< the first one
        std::uint32_t packets = 0;
        std::uint32_t expectedBefore = 0; ///< in the last report
        std::uint32_t packetsBefore = 0;
        std::uint32_t transit = 0;
        double jitter = 0; ///< in samples
    };

    void takeNack(std::span<const std::uint8_t> packet);
    void request(std::uint16_t sequence);
    void writeBlock(std::uint8_t* block, Clock::time_point now);

    std::uint32_t m_ownSource;
    std::optional<Reception> m_reception;
    std::uint32_t m_sentPackets = 0;
    std::uint32_t m_sentBytes = 0;
    std::uint32_t m_lastTimestamp = 0;
    Clock::time_point m_lastSent;
    std::uint32_t m_lastSenderReport =
        0; ///< the middle 32 bits of its NTP time; 0 before the first
    Clock::time_point m_senderReportCame;
    std::array<std::uint16_t, maxRequested> m_requested = {};
    std::size_t m_requestedCount = 0;
};

} // namespace wingbell
