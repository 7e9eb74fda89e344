#include "relay/speech/SilenceTrimmer.h"

#include <algorithm>

namespace wingbell {

SilenceTrimmer::SilenceTrimmer(std::size_t kept)
    : m_kept(kept)
{
}

void SilenceTrimmer::trim(std::span<const std::int16_t> input, std::vector<std::int16_t>& output)
{
    if (m_hasBegun) {
        output.insert(output.end(), input.begin(), input.end());
        return;
    }
    const auto loud = std::find_if(input.begin(), input.end(), [](std::int16_t sample) {
        return sample > silenceLevel || sample < -silenceLevel;
    });
    m_silence.insert(m_silence.end(), input.begin(), loud);
    if (m_silence.size() > m_kept) {
        m_silence.erase(m_silence.begin(), m_silence.end() - static_cast<std::ptrdiff_t>(m_kept));
    }
    if (loud == input.end()) {
        return;
    }
    m_hasBegun = true;
    output.insert(output.end(), m_silence.begin(), m_silence.end());
    output.insert(output.end(), loud, input.end());
    m_silence.clear();
}

} // namespace wingbell
