#include "relay/link/RtpStream.h"

namespace wingbell {

namespace {

constexpr std::uint8_t versionTwo = 0x80;
constexpr std::uint8_t marker = 0x80;

constexpr std::uint8_t byteOf(std::uint32_t value, int place)
{
    return static_cast<std::uint8_t>(value >> (8 * place));
}

} // namespace

RtpStream::RtpStream(
    std::uint32_t source, std::uint16_t firstSequence, std::uint32_t firstTimestamp)
    : m_source(source)
    , m_sequence(firstSequence)
    , m_timestamp(firstTimestamp)
{
}

RtpStream::Header RtpStream::next(std::uint8_t payloadType, std::uint32_t samples)
{
    const auto type = static_cast<std::uint8_t>(payloadType | (m_isFirst ? marker : 0));
    const Header header = {
        versionTwo,
        type,
        byteOf(m_sequence, 1),
        byteOf(m_sequence, 0),
        byteOf(m_timestamp, 3),
        byteOf(m_timestamp, 2),
        byteOf(m_timestamp, 1),
        byteOf(m_timestamp, 0),
        byteOf(m_source, 3),
        byteOf(m_source, 2),
        byteOf(m_source, 1),
        byteOf(m_source, 0)};
    m_isFirst = false;
    ++m_sequence;
    m_timestamp += samples;
    return header;
}

} // namespace wingbell
