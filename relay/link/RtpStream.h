#pragma once

#include <array>
#include <cstdint>

namespace wingbell {

/// The headers of a stream of RTP packets that goes out, one after the other.
class RtpStream
{
public:
    static constexpr std::size_t headerSize = 12;
    using Header = std::array<std::uint8_t, headerSize>;

    [[nodiscard]] static std::uint16_t sequenceOf(const Header& header)
    {
        return static_cast<std::uint16_t>((header[2] << 8U) | header[3]);
    }

    /// The stream called `source`; begins at places in sequence and time that should be random.
    RtpStream(std::uint32_t source, std::uint16_t firstSequence, std::uint32_t firstTimestamp);

    [[nodiscard]] std::uint32_t source() const { return m_source; }

    /// The time of the next packet, in samples.
    [[nodiscard]] std::uint32_t timestamp() const { return m_timestamp; }

    /// The header of the next packet, which lasts `samples` at 48 kHz.
    [[nodiscard]] Header next(std::uint8_t payloadType, std::uint32_t samples);

private:
    std::uint32_t m_source;
    std::uint16_t m_sequence;
    std::uint32_t m_timestamp;
    bool m_isFirst = true;
};

} // namespace wingbell
