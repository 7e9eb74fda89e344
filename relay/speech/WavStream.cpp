#include "relay/speech/WavStream.h"

#include "relay/speech/Resampler.h"

#include <QtEndian>

#include <array>
#include <cstring>
#include <string_view>

namespace wingbell {

namespace {

struct Header
{
    std::array<char, 4> riff;
    quint32_le fileSize;
    std::array<char, 8> waveFormat;
    quint32_le formatSize;
    quint16_le kind;
    quint16_le channels;
    quint32_le rate;
    quint32_le bytesASecond;
    quint16_le bytesASample;
    quint16_le bits;
    std::array<char, 4> data;
    quint32_le dataSize;
};
constexpr qsizetype headerSize = 44;
static_assert(sizeof(Header) == headerSize);

template <std::size_t Size> bool isTag(const std::array<char, Size>& bytes, std::string_view tag)
{
    return std::string_view(bytes.data(), Size) == tag;
}

/// The rate that `bytes` tell; nullopt if they are not the header of something playable.
std::optional<int> readHeader(const char* bytes)
{
    Header header = {};
    std::memcpy(&header, bytes, headerSize);
    const quint32 rate = header.rate;
    const bool isPlayable = isTag(header.riff, "RIFF") && isTag(header.waveFormat, "WAVEfmt ") &&
                            isTag(header.data, "data") && header.formatSize == 16 &&
                            header.kind == 1 && header.channels == 1 && header.bits == 16 &&
                            Resampler::supports(rate);
    return isPlayable ? std::optional(static_cast<int>(rate)) : std::nullopt;
}

} // namespace

bool WavStream::take(std::span<const std::uint8_t> bytes, std::vector<std::int16_t>& samples)
{
    if (m_refused) {
        return false;
    }
    m_pending.append(
        reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size()));
    if (!m_rate) {
        if (m_pending.size() < headerSize) {
            return true;
        }
        m_rate = readHeader(m_pending.constData());
        m_refused = !m_rate;
        if (m_refused) {
            return false;
        }
        m_pending.remove(0, headerSize);
    }
    constexpr qsizetype sampleBytes = sizeof(std::int16_t);
    const qsizetype whole = m_pending.size() / sampleBytes;
    if (whole == 0) {
        return true;
    }
    const std::size_t before = samples.size();
    samples.resize(before + static_cast<std::size_t>(whole));
    qFromLittleEndian<std::int16_t>(m_pending.constData(), whole, samples.data() + before);
    m_pending.remove(0, whole * sampleBytes);
    return true;
}

} // namespace wingbell
