#include "relay/speech/LeadingSilence.h"

#include <algorithm>

namespace wingbell {

LeadingSilence::LeadingSilence(std::size_t kept)
    : m_kept(kept)
{
}

void LeadingSilence::pass(std::span<const std::int16_t> input, std::vector<std::int16_t>& output)
{
    if (m_sounds) {
        output.insert(output.end(), input.begin(), input.end());
        return;
    }
    const auto loud = std::find_if(input.begin(), input.end(), [](std::int16_t sample) {
        return sample > loudestSilence || sample < -loudestSilence;
    });
    m_silence.insert(m_silence.end(), input.begin(), loud);
    if (m_silence.size() > m_kept) {
        m_silence.erase(m_silence.begin(), m_silence.end() - static_cast<std::ptrdiff_t>(m_kept));
    }
    if (loud == input.end()) {
        return;
    }
    m_sounds = true;
    output.insert(output.end(), m_silence.begin(), m_silence.end());
    output.insert(output.end(), loud, input.end());
    m_silence.clear();
}

} // namespace wingbell
