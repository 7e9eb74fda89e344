#include "relay/speech/WavStream.h"

#include "relay/speech/Resampler.h"

#include <cstring>
#include <string_view>

namespace wingbell {

namespace {

constexpr std::size_t fileBytes = 12;
constexpr std::size_t chunkHeaderBytes = 8;
constexpr std::size_t formatBytes = 16;
constexpr std::uint32_t plainSamples = 1;

std::uint32_t number16(const std::uint8_t* bytes)
{
    return bytes[0] | static_cast<std::uint32_t>(bytes[1]) << 8U;
}

std::uint32_t number32(const std::uint8_t* bytes)
{
    return number16(bytes) | number16(bytes + 2) << 16U;
}

bool isTag(const std::uint8_t* bytes, std::string_view tag)
{
    return std::memcmp(bytes, tag.data(), tag.size()) == 0;
}

} // namespace

bool WavStream::take(std::span<const std::uint8_t> bytes, std::vector<std::int16_t>& samples)
{
    for (const std::uint8_t byte : bytes) {
        if (!m_problem.isEmpty()) {
            return false;
        }
        if (m_part == Part::Sound) {
            takeSoundByte(byte, samples);
        } else {
            takeHeaderByte(byte);
        }
    }
    return m_problem.isEmpty();
}

std::optional<int> WavStream::rate() const
{
    return m_part == Part::Sound ? std::optional<int>(m_rate) : std::nullopt;
}

void WavStream::takeSoundByte(std::uint8_t byte, std::vector<std::int16_t>& samples)
{
    m_bytes.at(m_taken) = byte;
    ++m_taken;
    if (m_taken == sizeof(std::int16_t)) {
        samples.push_back(static_cast<std::int16_t>(number16(m_bytes.data())));
        m_taken = 0;
    }
}

void WavStream::takeHeaderByte(std::uint8_t byte)
{
    if (++m_header > longestHeader) {
        m_problem = QStringLiteral("no end to the header of its WAVE file");
        return;
    }
    if (m_skip > 0) {
        --m_skip;
        return;
    }
    m_bytes.at(m_taken) = byte;
    ++m_taken;
    if (m_taken < partBytes()) {
        return;
    }
    m_taken = 0;
    switch (m_part) {
    case Part::File:
        return readFile();
    case Part::ChunkHeader:
        return readChunkHeader();
    case Part::Format:
        return readFormat();
    case Part::Sound:
        return;
    }
}

std::size_t WavStream::partBytes() const
{
    switch (m_part) {
    case Part::File:
        return fileBytes;
    case Part::ChunkHeader:
        return chunkHeaderBytes;
    case Part::Format:
    case Part::Sound:
        break;
    }
    return formatBytes;
}

void WavStream::readFile()
{
    if (!isTag(m_bytes.data(), "RIFF") || !isTag(m_bytes.data() + 8, "WAVE")) {
        m_problem = QStringLiteral("something that is no WAVE file");
        return;
    }
    m_part = Part::ChunkHeader;
}

void WavStream::readChunkHeader()
{
    if (isTag(m_bytes.data(), "data")) {
        if (m_rate == 0) {
            m_problem = QStringLiteral("a WAVE file without a format");
            return;
        }
        m_part = Part::Sound;
        return;
    }
    // Chunks have even lengths; an odd one is followed by a byte more.
    const std::size_t size = number32(m_bytes.data() + 4);
    m_skip = size + size % 2;
    if (!isTag(m_bytes.data(), "fmt ")) {
        return;
    }
    if (size < formatBytes) {
        m_problem = QStringLiteral("a WAVE file without a whole format");
        return;
    }
    m_formatRest = m_skip - formatBytes;
    m_skip = 0;
    m_part = Part::Format;
}

void WavStream::readFormat()
{
    const std::uint32_t kind = number16(m_bytes.data());
    const std::uint32_t channels = number16(m_bytes.data() + 2);
    const std::uint32_t rate = number32(m_bytes.data() + 4);
    const std::uint32_t bits = number16(m_bytes.data() + 14);
    if (kind != plainSamples || channels != 1 || bits != 16) {
        m_problem = QStringLiteral("a WAVE file that is not of 16 bits and mono");
        return;
    }
    if (rate < Resampler::lowestRate || rate > Resampler::highestRate) {
        m_problem = QStringLiteral("a WAVE file of %1 samples a second").arg(rate);
        return;
    }
    m_rate = static_cast<int>(rate);
    m_skip = m_formatRest;
    m_part = Part::ChunkHeader;
}

} // namespace wingbell
