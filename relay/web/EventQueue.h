#pragma once

#include <QByteArray>

#include <utility>
#include <vector>

namespace wingbell {

/// Events that are not yet on their way: of each name only the newest, in the order in which the
/// names were first put in.
class EventQueue
{
public:
    void put(const QByteArray& name, const QByteArray& data);

    [[nodiscard]] bool isEmpty() const { return m_events.empty(); }

    /// All of them as text/event-stream has it; none is left.
    [[nodiscard]] QByteArray take();

private:
    std::vector<std::pair<QByteArray, QByteArray>> m_events;
};

} // namespace wingbell
