#include "relay/link/MissingPackets.h"

#include "relay/audio/AudioIo.h"

#include <algorithm>

namespace wingbell {

void MissingPackets::removeIf(auto isOver)
{
    const auto end = m_missing.begin() + static_cast<std::ptrdiff_t>(m_count);
    m_count = static_cast<std::size_t>(
        std::remove_if(m_missing.begin(), end, isOver) - m_missing.begin());
}

void MissingPackets::begin(const RtpPacket& packet, Clock::time_point now)
{
    *this = MissingPackets();
    m_hasBegun = true;
    m_source = packet.ssrc;
    m_highest = m_latest = packet.sequence;
    m_latestTimestamp = packet.timestamp;
    m_latestCame = now;
}

void MissingPackets::received(const RtpPacket& packet, std::size_t copies, Clock::time_point now)
{
    if (!m_hasBegun || m_source != packet.ssrc) {
        begin(packet, now);
        return;
    }
    if (ahead(packet.sequence, m_latest) > 0) {
        takeLatest(packet, now);
    }
    const int distance = ahead(packet.sequence, m_highest);
    if (distance > 0) {
        addMissing(static_cast<std::size_t>(distance - 1));
        m_highest = packet.sequence;
    }
    removeIf([&](const Missing& missing) {
        const int before = ahead(packet.sequence, missing.sequence);
        return before >= 0 && before <= static_cast<int>(copies);
    });
}

void MissingPackets::takeLatest(const RtpPacket& packet, Clock::time_point now)
{
    const auto packets = static_cast<std::uint16_t>(packet.sequence - m_latest);
    for (std::size_t lost = 1; lost < packets && packets <= maxMissing; ++lost) {
        m_loss.count(true);
    }
    m_loss.count(false);
    constexpr auto maxInterval = std::chrono::milliseconds(120); // the longest packet of Opus
    const std::uint64_t samples = packet.timestamp - m_latestTimestamp;
    const auto measured =
        std::chrono::microseconds(samples * 1'000'000 / (std::uint64_t{packets} * sampleRate));
    m_packetInterval = measured <= maxInterval ? measured : Clock::duration();
    m_latest = packet.sequence;
    m_latestTimestamp = packet.timestamp;
    m_latestCame = now;
    m_overdue = 0;
}

/// Adds the next `count` packets.
void MissingPackets::addMissing(std::size_t count)
{
    if (count > maxMissing) {
        m_count = 0;
        return;
    }
    // The oldest make room.
    const std::size_t tooMany = std::max(m_count + count, maxMissing) - maxMissing;
    std::rotate(
        m_missing.begin(), m_missing.begin() + static_cast<std::ptrdiff_t>(tooMany),
        m_missing.end());
    m_count -= tooMany;
    for (; count > 0; --count) {
        ++m_highest;
        m_missing[m_count++] = {m_highest, 0, {}};
    }
}

/// When the next packet will be overdue.
MissingPackets::Clock::time_point MissingPackets::overdueAt() const
{
    if (!m_loss.isHigh() || m_packetInterval == Clock::duration() || m_overdue == maxOverdue) {
        return Clock::time_point::max();
    }
    return m_latestCame + (ahead(m_highest, m_latest) + 1) * m_packetInterval + tolerance;
}

std::span<const std::uint16_t> MissingPackets::due(Clock::time_point now)
{
    while (now >= overdueAt()) {
        addMissing(1);
        ++m_overdue;
    }
    std::size_t count = 0;
    for (Missing& missing : std::span(m_missing).first(m_count)) {
        if (missing.requests == 0 || now - missing.last >= interval) {
            ++missing.requests;
            missing.last = now;
            m_due[count++] = missing.sequence;
        }
    }
    removeIf([](const Missing& missing) { return missing.requests == maxRequests; });
    return std::span(m_due).first(count);
}

MissingPackets::Clock::time_point MissingPackets::nextDue() const
{
    Clock::time_point next = overdueAt();
    for (const Missing& missing : std::span(m_missing).first(m_count)) {
        next = std::min(next, missing.last + interval);
    }
    return next;
}

} // namespace wingbell
