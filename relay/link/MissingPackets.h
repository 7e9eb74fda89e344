#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
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
    /// A longer gap is not asked for: most of it would come too late to be heard.
    static constexpr std::size_t maxMissing = 8;

    /// A packet has come: the stream it is of (SSRC) and its number.
    void received(std::uint32_t source, std::uint16_t sequence);

    /// The numbers of the packets to ask for now, oldest first; counts as asking. Valid until the
    /// next call.
    [[nodiscard]] std::span<const std::uint16_t> due(Clock::time_point now);

    /// The stream whose packets they are.
    [[nodiscard]] std::uint32_t source() const { return m_source; }

private:
    struct Missing
    {
        std::uint16_t sequence = 0;
        int requests = 0;
        Clock::time_point last; ///< request
    };

    void removeIf(auto isOver);

    std::uint32_t m_source = 0;
    std::optional<std::uint16_t> m_highest;
    std::array<Missing, maxMissing> m_missing = {}; ///< the first m_count
    std::size_t m_count = 0;
    std::array<std::uint16_t, maxMissing> m_due = {};
};

} // namespace wingbell
