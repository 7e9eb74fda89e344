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

    /// What came instead, for a person: "something that is no WAVE file"; empty while there is
    /// none.
    [[nodiscard]] const QString& problem() const { return m_problem; }

private:
    enum class Part { File, ChunkHeader, Format, Sound };

    void takeSoundByte(std::uint8_t byte, std::vector<std::int16_t>& samples);
    void takeHeaderByte(std::uint8_t byte);
    [[nodiscard]] std::size_t partBytes() const;
    void readFile();
    void readChunkHeader();
    void readFormat();

    Part m_part = Part::File;
    std::array<std::uint8_t, 16> m_bytes = {}; ///< of the part that is being read
    std::size_t m_taken = 0;                   ///< bytes of that part
    std::size_t m_skip = 0;                    ///< bytes of no interest before that part
    std::size_t m_formatRest = 0;              ///< bytes of no interest behind the format
    std::size_t m_header = 0;                  ///< bytes of the header so far
    int m_rate = 0;                            ///< 0 before the format
    QString m_problem;
};

} // namespace wingbell
