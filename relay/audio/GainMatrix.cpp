#include "relay/audio/GainMatrix.h"

#include <algorithm>

namespace wingbell {

GainMatrix::GainMatrix(std::size_t listeners, std::size_t talkers)
    : m_listeners(listeners)
    , m_rows(talkers)
    , m_from(listeners * talkers)
    , m_to(listeners * talkers)
{
}

GainMatrix::Gain GainMatrix::at(std::size_t listener, std::size_t talker) const
{
    const std::size_t index = talker * m_listeners + listener;
    return {m_from[index], m_to[index]};
}

std::span<const float> GainMatrix::from(std::size_t talker) const
{
    return std::span(m_from).subspan(talker * m_listeners, m_listeners);
}

std::span<const float> GainMatrix::to(std::size_t talker) const
{
    return std::span(m_to).subspan(talker * m_listeners, m_listeners);
}

void GainMatrix::rampTo(std::size_t listener, std::size_t talker, float gain)
{
    set(listener, talker, {at(listener, talker).from, gain});
}

void GainMatrix::jumpTo(std::size_t listener, std::size_t talker, float gain)
{
    set(listener, talker, {gain, gain});
}

void GainMatrix::set(std::size_t listener, std::size_t talker, Gain gain)
{
    Row& row = m_rows[talker];
    row.listeners -= at(listener, talker).isHeard() ? 1U : 0U;
    row.listeners += gain.isHeard() ? 1U : 0U;
    row.isRamping = row.isRamping || gain.from != gain.to;
    const std::size_t index = talker * m_listeners + listener;
    m_from[index] = gain.from;
    m_to[index] = gain.to;
}

void GainMatrix::silenceListener(std::size_t listener)
{
    for (std::size_t talker = 0; talker < m_rows.size(); ++talker) {
        jumpTo(listener, talker, 0);
    }
}

void GainMatrix::silenceTalker(std::size_t talker)
{
    for (std::size_t listener = 0; listener < m_listeners; ++listener) {
        jumpTo(listener, talker, 0);
    }
}

void GainMatrix::endBlock()
{
    for (std::size_t talker = 0; talker < m_rows.size(); ++talker) {
        Row& row = m_rows[talker];
        if (row.isRamping) {
            const std::span<const float> gains = to(talker);
            std::copy(
                gains.begin(), gains.end(),
                m_from.begin() + static_cast<std::ptrdiff_t>(talker * m_listeners));
            row.listeners = m_listeners -
                            static_cast<std::size_t>(std::count(gains.begin(), gains.end(), 0.0F));
            row.isRamping = false;
        }
    }
}

} // namespace wingbell
