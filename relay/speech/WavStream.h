#pragma once

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace wingbell {

/// Reads the WAVE file that espeak-ng writes to a pipe, in pieces of any size: a header of 44
/// bytes, always of the same form, and then samples of 16 bits, mono, until the pipe ends. The
/// sizes in the header are ignored, as its writer cannot know them. Buffers less than a header.
class WavStream
{
public:
    /// Appends to `samples` those that `bytes` complete. Returns false from then on if the file
    /// does not begin with that header or has a rate that Resampler does not take.
    [[nodiscard]] bool
    take(std::span<const std::uint8_t> bytes, std::vector<std::int16_t>& samples);

    /// In Hz; nullopt before the end of the header.
    [[nodiscard]] std::optional<int> rate() const { return m_rate; }

private:
    QByteArray m_pending; ///< the header as far as it has come, then half a sample at most
    std::optional<int> m_rate;
    bool m_refused = false;
};

} // namespace wingbell
