#include "relay/audio/GainMatrix.h"

namespace wingbell {

GainMatrix::GainMatrix(std::size_t listeners, std::size_t talkers)
    : m_listeners(listeners)
    , m_talkers(talkers)
    , m_gains(listeners * talkers)
{
}

const GainMatrix::Gain& GainMatrix::at(std::size_t listener, std::size_t talker) const
{
    return m_gains[listener * m_talkers + talker];
}

void GainMatrix::rampTo(std::size_t listener, std::size_t talker, float gain)
{
    m_gains[listener * m_talkers + talker].to = gain;
}

void GainMatrix::jumpTo(std::size_t listener, std::size_t talker, float gain)
{
    m_gains[listener * m_talkers + talker] = {gain, gain};
}

void GainMatrix::silenceListener(std::size_t listener)
{
    for (std::size_t talker = 0; talker < m_talkers; ++talker) {
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
    for (Gain& gain : m_gains) {
        gain.from = gain.to;
    }
}

} // namespace wingbell
