#include "relay/web/EventStream.h"

#include "relay/web/EventSending.h"

#include <utility>

namespace wingbell {

EventStream::EventStream(std::shared_ptr<EventSending> sending)
    : m_sending(std::move(sending))
{
}

EventStream& EventStream::operator=(EventStream&& other) noexcept
{
    if (this != &other) {
        close();
        m_sending = std::move(other.m_sending);
    }
    return *this;
}

EventStream::~EventStream()
{
    close();
}

void EventStream::send(const QByteArray& name, const QByteArray& data)
{
    if (m_sending) {
        m_sending->send(name, data);
    }
}

void EventStream::close()
{
    if (m_sending) {
        m_sending->close();
    }
}

bool EventStream::isOpen() const
{
    return m_sending && m_sending->isOpen();
}

void EventStream::onGone(std::function<void()> gone)
{
    if (m_sending) {
        m_sending->onGone(std::move(gone));
    }
}

} // namespace wingbell
