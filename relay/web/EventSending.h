#pragma once

#include "relay/web/EventQueue.h"
#include "relay/web/GoneCall.h"

#include <QByteArray>

#include <functional>
#include <memory>

namespace wingbell {

class WebConnection;

/// What an EventStream and the connection it goes over share.
class EventSending
{
public:
    /// Over `connection`; where that has gone already, to nobody.
    explicit EventSending(const std::shared_ptr<WebConnection>& connection);

    // The stream's side.
    void send(const QByteArray& name, const QByteArray& data);
    void close();
    [[nodiscard]] bool isOpen() const { return m_isOpen; }
    void onGone(std::function<void()> gone);

    // The connection's side.
    [[nodiscard]] bool hasEvents() const { return !m_events.isEmpty(); }
    [[nodiscard]] QByteArray takeEvents() { return m_events.take(); }
    void connectionGone();

private:
    void wakeConnection();

    std::weak_ptr<WebConnection> m_connection;
    EventQueue m_events;
    bool m_isOpen;
    GoneCall m_gone;
};

} // namespace wingbell
