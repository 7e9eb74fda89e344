#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace wingbell {

/// Trims the silence before a sound to a few milliseconds, so that the sound is heard at once.
class SilenceTrimmer
{
public:
    /// Samples no louder than this are silence: about -70 dBFS.
    static constexpr int silenceLevel = 10;

    /// Keeps `kept` samples before the first one that is not silent.
    explicit SilenceTrimmer(std::size_t kept);

    /// Appends to `output` what is left of `input`; nothing while all has been silent.
    void trim(std::span<const std::int16_t> input, std::vector<std::int16_t>& output);

private:
    std::size_t m_kept;
    std::vector<std::int16_t> m_silence; ///< the last of it
    bool m_hasBegun = false;
};

} // namespace wingbell
