#pragma once

#include <QString>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace wingbell {

/// Reads a WAVE file as it is written to a pipe, in pieces of any size: 16 bits, mono, from 8000 to
/// 48000 samples a second. The sizes it gives for the file and its sound are not believed, as its
/// writer cannot know them: the sound goes on until the pipe ends. Keeps a few bytes at most.
class WavStream
{
public:
    /// In bytes; a longer header is refused.
    static constexpr std::size_t longestHeader = 4096;

    /// Appends to `samples` those that `bytes` complete. False when this is nothing that can be
    /// played: problem() tells why, and nothing is taken any more.
    [[nodiscard]] bool
    take(std::span<const std::uint8_t> bytes, std::vector<std::int16_t>& samples);

    /// In samples a second; nothing before the header's end.
    [[nodiscard]] std::optional<int> rate() const;

    /// For a person, a clause; empty while there is none.
    [[nodiscard]] const QString& problem() const { return m_problem; }

private:
    enum class Part { File, ChunkHeader, Format, SkippedChunk, Sound };

    [[nodiscard]] std::size_t wantedBytes() const;
    void readHeaderByte(std::uint8_t byte);
    void readFile();
    void readChunkHeader();
    void readFormat();
    void readSoundByte(std::uint8_t byte, std::vector<std::int16_t>& samples);
    void refuse(const QString& problem) { m_problem = problem; }

    Part m_part = Part::File;
    std::array<std::uint8_t, 16> m_bytes = {}; ///< the beginning of the part that is being read
    std::size_t m_taken = 0;                   ///< bytes of that part
    std::size_t m_header = 0;                  ///< bytes of the header so far
    std::size_t m_chunkSize = 0;
    int m_rate = 0;
    QString m_problem;
};

} // namespace wingbell
