#include "relay/http/EventQueue.h"

#include <QList>

#include <algorithm>

namespace wingbell {

namespace {

void appendEvent(QByteArray& text, const QByteArray& name, QByteArray data)
{
    text.append("event: ").append(name).append('\n');
    data.replace("\r\n", "\n").replace('\r', '\n');
    for (const QByteArray& line : data.split('\n')) {
        text.append("data: ").append(line).append('\n');
    }
    text.append('\n');
}

} // namespace

void EventQueue::put(const QByteArray& name, const QByteArray& data)
{
    const auto older = std::find_if(m_events.begin(), m_events.end(), [&name](const auto& event) {
        return event.first == name;
    });
    if (older == m_events.end()) {
        m_events.emplace_back(name, data);
    } else {
        older->second = data;
    }
}

QByteArray EventQueue::take()
{
    QByteArray text;
    for (const auto& [name, data] : m_events) {
        appendEvent(text, name, data);
    }
    m_events.clear();
    return text;
}

} // namespace wingbell
