#include "relay/link/RtcpReports.h"

#include "relay/audio/AudioIo.h"
#include "relay/audio/RtpPacket.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

namespace wingbell {

namespace {

constexpr std::uint8_t version = 0x80;
constexpr std::uint8_t senderReport = 200;
constexpr std::uint8_t receiverReport = 201;
constexpr std::uint8_t sourceDescription = 202;
constexpr std::uint8_t transportFeedback = 205;
constexpr std::uint8_t genericNack = 1;
constexpr std::string_view name = "wingbell";

/// Seconds from 1900, as NTP counts, to 1970.
constexpr std::uint64_t ntpEpoch = 2'208'988'800U;

std::uint16_t read16(const std::uint8_t* bytes)
{
    return static_cast<std::uint16_t>((bytes[0] << 8U) | bytes[1]);
}

std::uint32_t read32(const std::uint8_t* bytes)
{
    return (std::uint32_t{read16(bytes)} << 16U) | read16(bytes + 2);
}

void write16(std::uint8_t* bytes, std::uint32_t value)
{
    bytes[0] = static_cast<std::uint8_t>(value >> 8U);
    bytes[1] = static_cast<std::uint8_t>(value);
}

void write32(std::uint8_t* bytes, std::uint32_t value)
{
    write16(bytes, value >> 16U);
    write16(bytes + 2, value);
}

/// In units of 1/65536 s, as reports give delays.
std::uint32_t inNtpUnits(std::chrono::steady_clock::duration duration)
{
    return static_cast<std::uint32_t>(std::chrono::duration<double>(duration).count() * 65536);
}

std::uint32_t inSamples(std::chrono::steady_clock::duration duration)
{
    return static_cast<std::uint32_t>(
        static_cast<std::int64_t>(std::chrono::duration<double>(duration).count() * sampleRate));
}

} // namespace

RtcpReports::RtcpReports(std::uint32_t ownSource)
    : m_ownSource(ownSource)
{
}

void RtcpReports::received(std::span<const std::uint8_t> packet, Clock::time_point now)
{
    const std::optional<RtpPacket> read = readRtpPacket(packet);
    if (!read) {
        return;
    }
    const std::uint32_t arrival = inSamples(now.time_since_epoch());
    const std::uint32_t transit = arrival - read->timestamp;
    if (!m_reception || m_reception->source != read->ssrc) {
        m_reception = Reception{
            .source = read->ssrc,
            .highest = read->sequence,
            .base = read->sequence,
            .packets = 1,
            .transit = transit};
        return;
    }
    Reception& reception = *m_reception;
    const auto ahead =
        static_cast<std::int16_t>(read->sequence - static_cast<std::uint16_t>(reception.highest));
    if (ahead > 0) {
        reception.highest += static_cast<std::uint32_t>(ahead);
    }
    ++reception.packets;
    const double difference =
        std::abs(static_cast<double>(static_cast<std::int32_t>(transit - reception.transit)));
    reception.transit = transit;
    reception.jitter += (difference - reception.jitter) / 16;
}

void RtcpReports::sent(std::uint32_t timestamp, std::size_t payload, Clock::time_point now)
{
    ++m_sentPackets;
    m_sentBytes += static_cast<std::uint32_t>(payload);
    m_lastTimestamp = timestamp;
    m_lastSent = now;
}

std::span<const std::uint16_t>
RtcpReports::take(std::span<const std::uint8_t> packet, Clock::time_point now)
{
    m_requestedCount = 0;
    constexpr std::size_t header = 4;
    constexpr std::size_t senderReportSize = 28;
    while (packet.size() >= header && (packet[0] & 0xC0U) == version) {
        const std::size_t size = header + 4 * std::size_t{read16(&packet[2])};
        if (size > packet.size()) {
            break;
        }
        if (packet[1] == senderReport && size >= senderReportSize) {
            m_lastSenderReport = (read32(&packet[8]) << 16U) | (read32(&packet[12]) >> 16U);
            m_senderReportCame = now;
        } else if (packet[1] == transportFeedback && (packet[0] & 0x1FU) == genericNack) {
            takeNack(packet.first(size));
        }
        packet = packet.subspan(size);
    }
    return std::span(m_requested).first(m_requestedCount);
}

/// Each entry has the number of a packet, and a bit for each of the 16 that follow it.
void RtcpReports::takeNack(std::span<const std::uint8_t> packet)
{
    constexpr std::size_t entries = 12;
    if (packet.size() < entries || read32(&packet[8]) != m_ownSource) {
        return;
    }
    for (packet = packet.subspan(entries); packet.size() >= 4; packet = packet.subspan(4)) {
        const std::uint16_t first = read16(&packet[0]);
        const unsigned following = read16(&packet[2]);
        request(first);
        for (unsigned bit = 0; bit < 16; ++bit) {
            if ((following >> bit & 1U) != 0) {
                request(static_cast<std::uint16_t>(first + bit + 1));
            }
        }
    }
}

void RtcpReports::request(std::uint16_t sequence)
{
    if (m_requestedCount < maxRequested) {
        m_requested[m_requestedCount++] = sequence;
    }
}

std::span<std::uint8_t> RtcpReports::write(
    std::span<std::uint8_t, maxReport> buffer, Clock::time_point now,
    std::chrono::system_clock::time_point wallClock)
{
    std::fill(buffer.begin(), buffer.end(), std::uint8_t{0});
    const std::size_t blocks = m_reception ? 1 : 0;
    std::uint8_t* const report = buffer.data();
    std::size_t size = 8;
    report[0] = static_cast<std::uint8_t>(version | blocks);
    report[1] = receiverReport;
    write32(report + 4, m_ownSource);
    if (m_sentPackets > 0) {
        report[1] = senderReport;
        const auto since = wallClock.time_since_epoch();
        const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
        const double fraction = std::chrono::duration<double>(since - seconds).count();
        write32(
            report + 8,
            static_cast<std::uint32_t>(static_cast<std::uint64_t>(seconds.count()) + ntpEpoch));
        write32(report + 12, static_cast<std::uint32_t>(fraction * 4294967296.0));
        write32(report + 16, m_lastTimestamp + inSamples(now - m_lastSent));
        write32(report + 20, m_sentPackets);
        write32(report + 24, m_sentBytes);
        size = 28;
    }
    if (m_reception) {
        writeBlock(report + size, now);
        size += 24;
    }
    write16(report + 2, static_cast<std::uint32_t>(size / 4 - 1));

    // One chunk with our name, ended by a zero and filled up to a word.
    std::uint8_t* const description = report + size;
    constexpr std::size_t descriptionSize = 4 + (4 + 2 + name.size() + 1 + 3) / 4 * 4;
    static_assert(28 + 24 + descriptionSize <= maxReport);
    description[0] = version | 1;
    description[1] = sourceDescription;
    write16(description + 2, descriptionSize / 4 - 1);
    write32(description + 4, m_ownSource);
    description[8] = 1; // CNAME
    description[9] = static_cast<std::uint8_t>(name.size());
    std::copy(name.begin(), name.end(), description + 10);
    return buffer.first(size + descriptionSize);
}

std::span<std::uint8_t> RtcpReports::writeNack(
    std::span<std::uint8_t> buffer, std::uint32_t source,
    std::span<const std::uint16_t> numbers) const
{
    constexpr std::size_t reportSize = 8;
    constexpr std::size_t requestSize = 12;
    std::uint8_t* const report = buffer.data();
    report[0] = version;
    report[1] = receiverReport;
    write16(report + 2, reportSize / 4 - 1);
    write32(report + 4, m_ownSource);
    std::uint8_t* const request = report + reportSize;
    std::size_t size = requestSize;
    for (std::size_t place = 0; place < numbers.size(); size += 4) {
        const std::uint16_t first = numbers[place++];
        std::uint32_t following = 0;
        for (; place < numbers.size(); ++place) {
            const auto after = static_cast<std::uint16_t>(numbers[place] - first);
            if (after > 16) {
                break;
            }
            following |= 1U << (after - 1U);
        }
        write16(request + size, first);
        write16(request + size + 2, following);
    }
    request[0] = version | genericNack;
    request[1] = transportFeedback;
    write16(request + 2, static_cast<std::uint32_t>(size / 4 - 1));
    write32(request + 4, m_ownSource);
    write32(request + 8, source);
    return buffer.first(reportSize + size);
}

/// After RFC 3550, appendix A.3: loss since the last report and in all, jitter, and what the peer
/// needs to tell the round trip.
void RtcpReports::writeBlock(std::uint8_t* block, Clock::time_point now)
{
    Reception& reception = *m_reception;
    const std::uint32_t expected = reception.highest - reception.base + 1;
    const auto lost = static_cast<std::int64_t>(expected) - reception.packets;
    const std::uint32_t expectedSince = expected - reception.expectedBefore;
    const std::uint32_t receivedSince = reception.packets - reception.packetsBefore;
    const auto lostSince = static_cast<std::int64_t>(expectedSince) - receivedSince;
    reception.expectedBefore = expected;
    reception.packetsBefore = reception.packets;
    const std::uint32_t fraction = lostSince <= 0 || expectedSince == 0
                                       ? 0
                                       : static_cast<std::uint32_t>(std::min<std::int64_t>(
                                             255, 256 * lostSince / expectedSince));
    constexpr std::int64_t maxLost = 0x7FFFFF;
    write32(block, reception.source);
    write32(
        block + 4, (fraction << 24U) | (static_cast<std::uint32_t>(
                                            std::clamp<std::int64_t>(lost, -maxLost, maxLost)) &
                                        0xFFFFFFU));
    write32(block + 8, reception.highest);
    write32(block + 12, static_cast<std::uint32_t>(reception.jitter));
    if (m_lastSenderReport != 0) {
        write32(block + 16, m_lastSenderReport);
        write32(block + 20, inNtpUnits(now - m_senderReportCame));
    }
}

} // namespace wingbell
