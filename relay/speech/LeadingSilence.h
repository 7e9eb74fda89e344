#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace wingbell {

/// Leaves out the silence before a sound, all but a few milliseconds of it, so that it is heard at
/// once.
class LeadingSilence
{
public:
    /// What is no louder than this counts as silence; about 70 dB below the loudest there is.
    static constexpr int loudestSilence = 10;

    /// Keeps `kept` samples before the first that is to be heard.
    explicit LeadingSilence(std::size_t kept);

    /// Appends to `output` what of `input` is to be heard. A sound that is silent to its end leaves
    /// nothing.
    void pass(std::span<const std::int16_t> input, std::vector<std::int16_t>& output);

private:
    std::size_t m_kept;
    std::vector<std::int16_t> m_silence; ///< the last of it
    bool m_sounds = false;
};

} // namespace wingbell
