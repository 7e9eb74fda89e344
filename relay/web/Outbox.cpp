#include "relay/web/Outbox.h"

#include <algorithm>

namespace wingbell {

void Outbox::push(const QByteArray& bytes)
{
    if (!bytes.isEmpty()) {
        m_pieces.push_back(bytes);
    }
}

QByteArrayView Outbox::front(qsizetype most) const
{
    if (m_pieces.empty()) {
        return {};
    }
    const QByteArrayView rest = QByteArrayView(m_pieces.front()).sliced(m_dropped);
    return rest.first(std::min(most, rest.size()));
}

void Outbox::drop(qsizetype count)
{
    m_dropped += count;
    if (!m_pieces.empty() && m_dropped >= m_pieces.front().size()) {
        m_pieces.pop_front();
        m_dropped = 0;
    }
}

} // namespace wingbell
