#include "relay/web/EventSending.h"

#include "relay/web/WebConnection.h"

#include <utility>

namespace wingbell {

EventSending::EventSending(const std::shared_ptr<WebConnection>& connection)
    : m_connection(connection)
    , m_isOpen(connection != nullptr)
{
    if (!connection) {
        m_gone.happen();
    }
}

void EventSending::send(const QByteArray& name, const QByteArray& data)
{
    if (m_isOpen) {
        m_events.put(name, data);
        wakeConnection();
    }
}

void EventSending::close()
{
    m_gone.forget();
    if (std::exchange(m_isOpen, false)) {
        wakeConnection();
    }
}

void EventSending::onGone(std::function<void()> gone)
{
    m_gone.set(std::move(gone));
}

void EventSending::connectionGone()
{
    m_isOpen = false;
    m_gone.happen();
}

void EventSending::wakeConnection()
{
    if (const auto connection = m_connection.lock()) {
        connection->wake();
    }
}

} // namespace wingbell
