#include "relay/audio/RtpPacket.h"

#include <cstddef>

namespace wingbell {

namespace {

constexpr std::size_t fixedHeader = 12;
constexpr std::size_t extensionHeader = 4;
constexpr std::size_t wordSize = 4;

std::uint16_t read16(std::span<const std::uint8_t> bytes)
{
    return static_cast<std::uint16_t>((bytes[0] << 8U) | bytes[1]);
}

std::uint32_t read32(std::span<const std::uint8_t> bytes)
{
    return (std::uint32_t{read16(bytes)} << 16U) | read16(bytes.subspan(2));
}

/// On a shared port RTCP is recognised by the byte of the marker and payload type (RFC 5761).
bool isRtcp(std::uint8_t second)
{
    return second >= 192 && second <= 223;
}

std::optional<std::span<const std::uint8_t>> withoutExtension(std::span<const std::uint8_t> rest)
{
    if (rest.size() < extensionHeader) {
        return std::nullopt;
    }
    const std::size_t length = extensionHeader + wordSize * read16(rest.subspan(2));
    if (rest.size() < length) {
        return std::nullopt;
    }
    return rest.subspan(length);
}

std::optional<std::span<const std::uint8_t>> withoutPadding(std::span<const std::uint8_t> rest)
{
    if (rest.empty() || rest.back() == 0 || rest.back() > rest.size()) {
        return std::nullopt;
    }
    return rest.first(rest.size() - rest.back());
}

} // namespace

std::optional<RtpPacket> readRtpPacket(std::span<const std::uint8_t> bytes)
{
    if (bytes.size() < fixedHeader || (bytes[0] >> 6U) != 2 || isRtcp(bytes[1])) {
        return std::nullopt;
    }
    const bool hasPadding = (bytes[0] & 0x20U) != 0;
    const bool hasExtension = (bytes[0] & 0x10U) != 0;
    const std::size_t header = fixedHeader + wordSize * (bytes[0] & 0x0fU);
    if (bytes.size() < header) {
        return std::nullopt;
    }
    std::optional<std::span<const std::uint8_t>> payload = bytes.subspan(header);
    if (hasExtension) {
        payload = withoutExtension(*payload);
    }
    if (payload && hasPadding) {
        payload = withoutPadding(*payload);
    }
    if (!payload) {
        return std::nullopt;
    }
    return RtpPacket{
        static_cast<std::uint8_t>(bytes[1] & 0x7fU), read16(bytes.subspan(2)),
        read32(bytes.subspan(4)), read32(bytes.subspan(8)), *payload};
}

} // namespace wingbell
