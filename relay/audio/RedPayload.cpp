#include "relay/audio/RedPayload.h"

#include "relay/audio/AudioIo.h"

#include <opus.h>

#include <algorithm>

namespace wingbell {

namespace {

constexpr std::uint8_t moreFollow = 0x80; // beside the payload type
constexpr std::size_t copyHeader = 4;     // type, 14 bits of age and 10 of length
constexpr std::size_t newestHeader = 1;   // type
constexpr std::uint32_t maxAge = 0x3FFF;

/// What a header says about a copy.
struct CopyHeader
{
    std::uint32_t age = 0; ///< in samples
    std::size_t size = 0;  ///< in bytes
};

CopyHeader readCopyHeader(std::span<const std::uint8_t> bytes)
{
    const std::uint32_t ageAndSize =
        (std::uint32_t{bytes[1]} << 16U) | (std::uint32_t{bytes[2]} << 8U) | bytes[3];
    return {ageAndSize >> 10U, ageAndSize & 0x3FFU};
}

std::uint32_t samplesOf(std::span<const std::uint8_t> opus)
{
    const int samples = opus.empty()
                            ? 0
                            : opus_packet_get_nb_samples(
                                  opus.data(), static_cast<opus_int32>(opus.size()), sampleRate);
    return samples > 0 ? static_cast<std::uint32_t>(samples) : 0;
}

/// Numbers the copies, the latest first, as long as each ends where the next one begins.
void keepThoseThatFollowEachOther(
    OpusPackets& packets, std::span<const CopyHeader> headers, std::span<const RtpPacket> copies)
{
    std::uint32_t age = 0;
    std::uint16_t sequence = packets.newest.sequence;
    std::size_t followed = 0;
    while (followed < copies.size()) {
        const std::size_t place = copies.size() - 1 - followed;
        const std::uint32_t samples = samplesOf(copies[place].payload);
        age += samples;
        if (samples == 0 || headers[place].age != age) {
            break;
        }
        ++followed;
    }
    for (const RtpPacket& copy : copies.last(followed)) {
        RtpPacket& kept = packets.copies[packets.copyCount];
        kept = copy;
        kept.sequence = static_cast<std::uint16_t>(sequence - (followed - packets.copyCount));
        ++packets.copyCount;
    }
}

bool readRed(const RtpPacket& packet, OpusPackets& packets)
{
    std::array<CopyHeader, OpusPackets::maxCopies> headers;
    std::array<RtpPacket, OpusPackets::maxCopies> copies;
    std::size_t count = 0;
    std::span<const std::uint8_t> rest = packet.payload;
    while (!rest.empty() && (rest[0] & moreFollow) != 0) {
        if (count == headers.size() || rest.size() < copyHeader ||
            rest[0] != (moreFollow | opusPayloadType)) {
            return false;
        }
        headers[count++] = readCopyHeader(rest);
        rest = rest.subspan(copyHeader);
    }
    if (rest.empty() || rest[0] != opusPayloadType) {
        return false;
    }
    rest = rest.subspan(newestHeader);
    for (std::size_t place = 0; place < count; ++place) {
        if (headers[place].size > rest.size()) {
            return false;
        }
        copies[place] = {
            opusPayloadType, 0, packet.timestamp - headers[place].age, packet.ssrc,
            rest.first(headers[place].size)};
        rest = rest.subspan(headers[place].size);
    }
    packets.newest = packet;
    packets.newest.payloadType = opusPayloadType;
    packets.newest.payload = rest;
    keepThoseThatFollowEachOther(
        packets, std::span(headers).first(count), std::span(copies).first(count));
    return true;
}

} // namespace

bool readOpusPackets(const RtpPacket& packet, OpusPackets& packets)
{
    packets.copyCount = 0;
    if (packet.payloadType == redPayloadType) {
        return readRed(packet, packets);
    }
    packets.newest = packet;
    return packet.payloadType == opusPayloadType;
}

void RedWriter::keep(std::span<const std::uint8_t> opus, std::uint32_t samples)
{
    std::move_backward(m_kept.begin(), m_kept.end() - 1, m_kept.end());
    Kept& latest = m_kept.front();
    latest.size = opus.size() <= maxCopy ? opus.size() : 0;
    latest.samples = samples;
    std::copy_n(opus.begin(), latest.size, latest.bytes.begin());
}

std::size_t RedWriter::write(
    std::span<const std::uint8_t> opus, std::size_t copies, std::span<std::uint8_t> out) const
{
    std::array<std::uint32_t, maxCopies> ages = {};
    std::uint32_t age = 0;
    std::size_t count = 0;
    while (count < std::min(copies, maxCopies) && m_kept[count].size > 0) {
        age += m_kept[count].samples;
        if (age > maxAge) {
            break;
        }
        ages[count++] = age;
    }
    auto end = out.begin();
    for (std::size_t place = count; place-- > 0;) {
        const auto size = static_cast<std::uint32_t>(m_kept[place].size);
        const std::uint32_t ageAndSize = (ages[place] << 10U) | size;
        *end++ = moreFollow | opusPayloadType;
        *end++ = static_cast<std::uint8_t>(ageAndSize >> 16U);
        *end++ = static_cast<std::uint8_t>(ageAndSize >> 8U);
        *end++ = static_cast<std::uint8_t>(ageAndSize);
    }
    *end++ = opusPayloadType;
    for (std::size_t place = count; place-- > 0;) {
        end = std::copy_n(m_kept[place].bytes.begin(), m_kept[place].size, end);
    }
    end = std::copy(opus.begin(), opus.end(), end);
    return static_cast<std::size_t>(end - out.begin());
}

} // namespace wingbell
