#include "relay/voice/GainTable.h"

namespace wingbell {

GainTable::GainTable(std::size_t listeners, std::size_t talkers)
    : m_listeners(listeners)
    , m_talkers(talkers)
    , m_gains(listeners * talkers)
{
}

const GainTable::Gain& GainTable::at(std::size_t listener, std::size_t talker) const
{
    return m_gains[listener * m_talkers + talker];
}

void GainTable::aim(std::size_t listener, std::size_t talker, float gain)
{
    m_gains[listener * m_talkers + talker].to = gain;
}

void GainTable::set(std::size_t listener, std::size_t talker, float gain)
{
    m_gains[listener * m_talkers + talker] = {gain, gain};
}

void GainTable::silenceListener(std::size_t listener)
{
    for (std::size_t talker = 0; talker < m_talkers; ++talker) {
        set(listener, talker, 0);
    }
}

void GainTable::silenceTalker(std::size_t talker)
{
    for (std::size_t listener = 0; listener < m_listeners; ++listener) {
        set(listener, talker, 0);
    }
}

void GainTable::settle()
{
    for (Gain& gain : m_gains) {
        gain.from = gain.to;
    }
}

} // namespace wingbell
