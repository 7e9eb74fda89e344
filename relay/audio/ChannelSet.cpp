#include "relay/audio/ChannelSet.h"

#include <algorithm>
#include <cassert>

namespace wingbell {

namespace {

constexpr std::size_t wordBits = 64;

std::uint64_t bitOf(std::size_t channel)
{
    return std::uint64_t{1} << (channel % wordBits);
}

} // namespace

ChannelSet::ChannelSet(std::size_t count)
    : m_count(count)
    , m_words((count + wordBits - 1) / wordBits, 0)
{
}

ChannelSet ChannelSet::all(std::size_t count)
{
    ChannelSet set(count);
    for (std::size_t channel = 0; channel < count; ++channel) {
        set.insert(channel);
    }
    return set;
}

void ChannelSet::insert(std::size_t channel)
{
    assert(channel < m_count);
    m_words.at(channel / wordBits) |= bitOf(channel);
}

void ChannelSet::insert(const ChannelSet& other)
{
    assert(m_count == other.m_count);
    for (std::size_t index = 0; index < m_words.size(); ++index) {
        m_words[index] |= other.m_words[index];
    }
}

void ChannelSet::remove(const ChannelSet& other)
{
    assert(m_count == other.m_count);
    for (std::size_t index = 0; index < m_words.size(); ++index) {
        m_words[index] &= ~other.m_words[index];
    }
}

bool ChannelSet::contains(std::size_t channel) const
{
    return channel < m_count && (m_words.at(channel / wordBits) & bitOf(channel)) != 0;
}

bool ChannelSet::isEmpty() const
{
    return std::all_of(
        m_words.begin(), m_words.end(), [](std::uint64_t word) { return word == 0; });
}

ChannelSet ChannelSet::intersected(const ChannelSet& other) const
{
    assert(m_count == other.m_count);
    ChannelSet both(m_count);
    for (std::size_t index = 0; index < m_words.size(); ++index) {
        both.m_words.at(index) = m_words.at(index) & other.m_words.at(index);
    }
    return both;
}

bool ChannelSet::intersects(const ChannelSet& other) const
{
    assert(m_count == other.m_count);
    for (std::size_t index = 0; index < m_words.size(); ++index) {
        if ((m_words[index] & other.m_words[index]) != 0) {
            return true;
        }
    }
    return false;
}

} // namespace wingbell
