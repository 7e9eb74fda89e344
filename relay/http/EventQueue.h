#pragma once

#include <QByteArray>

#include <utility>
#include <vector>

namespace wingbell {

/// Events that are not yet on their way: only the newest of each name, in the order in which the
/// names were first put in. So a client that does not read costs one event of each name.
class EventQueue
{
public:
    void put(const QByteArray& name, const QByteArray& data);

    [[nodiscard]] bool isEmpty() const { return m_events.empty(); }

    /// Takes all of them out, as text/event-stream.
    [[nodiscard]] QByteArray take();

private:
    std::vector<std::pair<QByteArray, QByteArray>> m_events;
};

} // namespace wingbell
