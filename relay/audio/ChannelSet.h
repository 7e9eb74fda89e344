#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace wingbell {

/// A set of a show's channels, each named by its place in the show, from 0.
class ChannelSet
{
public:
    /// None of `count` channels.
    explicit ChannelSet(std::size_t count = 0);

    /// All of `count` channels.
    [[nodiscard]] static ChannelSet all(std::size_t count);

    /// How many channels there are, in the set or not.
    [[nodiscard]] std::size_t count() const { return m_count; }

    /// Puts `channel`, which must be below count(), into the set.
    void insert(std::size_t channel);

    /// Inserts, or removes, the channels of `other`, which must have the same count().
    void insert(const ChannelSet& other);
    void remove(const ChannelSet& other);

    [[nodiscard]] bool contains(std::size_t channel) const;
    [[nodiscard]] bool isEmpty() const;

    /// The channels in both sets, which must have the same count().
    [[nodiscard]] ChannelSet intersected(const ChannelSet& other) const;
    [[nodiscard]] bool intersects(const ChannelSet& other) const;

    friend bool operator==(const ChannelSet&, const ChannelSet&) = default;

private:
    std::size_t m_count;
    std::vector<std::uint64_t> m_words;
};

} // namespace wingbell
