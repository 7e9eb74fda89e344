#include "relay/link/PathTable.h"

#include <algorithm>
#include <cstring>

namespace wingbell {

PathTable::PathTable(std::size_t maxEntries)
{
    m_entries.reserve(maxEntries);
}

std::optional<std::uint16_t> PathTable::find(const DatagramPath& path) const
{
    const Key key = keyOf(path);
    const auto found = place(key);
    return found != m_entries.end() && found->key == key ? std::optional(found->peer)
                                                         : std::nullopt;
}

bool PathTable::set(const DatagramPath& path, std::uint16_t peer)
{
    const Key key = keyOf(path);
    const auto found = m_entries.begin() + (place(key) - m_entries.cbegin());
    if (found != m_entries.end() && found->key == key) {
        found->peer = peer;
        return true;
    }
    if (m_entries.size() == m_entries.capacity()) {
        return false;
    }
    m_entries.insert(found, Entry{key, peer});
    return true;
}

void PathTable::remove(const DatagramPath& path, std::uint16_t peer)
{
    const Key key = keyOf(path);
    const auto found = place(key);
    if (found != m_entries.end() && found->key == key && found->peer == peer) {
        m_entries.erase(found);
    }
}

PathTable::Key PathTable::keyOf(const DatagramPath& path)
{
    Key key = {};
    std::memcpy(key.data(), &path.peer.sin6_addr, sizeof path.peer.sin6_addr);
    std::memcpy(key.data() + 16, &path.peer.sin6_port, sizeof path.peer.sin6_port);
    std::memcpy(key.data() + 18, &path.peer.sin6_scope_id, sizeof path.peer.sin6_scope_id);
    return key;
}

std::vector<PathTable::Entry>::const_iterator PathTable::place(const Key& key) const
{
    return std::lower_bound(
        m_entries.begin(), m_entries.end(), key,
        [](const Entry& entry, const Key& wanted) { return entry.key < wanted; });
}

} // namespace wingbell
