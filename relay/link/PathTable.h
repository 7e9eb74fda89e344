#pragma once

#include "relay/link/DatagramSocket.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace wingbell {

/// Which peer uses which address and port. A sorted list: looked up for every packet, changed
/// seldom. Not thread-safe; allocates only when built.
class PathTable
{
public:
    explicit PathTable(std::size_t maxEntries);

    /// The peer that `path` belongs to.
    [[nodiscard]] std::optional<std::uint16_t> find(const DatagramPath& path) const;

    /// From now on `path` belongs to `peer`. False when the table is full.
    bool set(const DatagramPath& path, std::uint16_t peer);

    /// Forgets `path`, if it belongs to `peer`.
    void remove(const DatagramPath& path, std::uint16_t peer);

private:
    /// Address, port and interface of the peer.
    using Key = std::array<std::uint8_t, 22>;
    struct Entry
    {
        Key key;
        std::uint16_t peer;
    };

    [[nodiscard]] static Key keyOf(const DatagramPath& path);
    [[nodiscard]] std::vector<Entry>::const_iterator place(const Key& key) const;

    std::vector<Entry> m_entries;
};

} // namespace wingbell
