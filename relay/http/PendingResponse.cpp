#include "relay/http/PendingResponse.h"

#include <utility>

namespace wingbell {

EventStream::EventStream(ResponseSink* connection)
    : m_connection(connection)
{
}

EventStream::EventStream(EventStream&& other) noexcept
    : m_connection(std::exchange(other.m_connection, nullptr))
{
}

EventStream& EventStream::operator=(EventStream&& other) noexcept
{
    EventStream taken(std::move(other));
    m_connection.swap(taken.m_connection);
    return *this;
}

EventStream::~EventStream()
{
    close();
}

void EventStream::send(const QByteArray& name, const QByteArray& data)
{
    if (m_connection) {
        m_connection->sendEvent(name, data);
    }
}

void EventStream::close()
{
    if (const auto connection = std::exchange(m_connection, nullptr)) {
        connection->closeEvents();
    }
}

bool EventStream::isOpen() const
{
    return m_connection && m_connection->hasOpenEvents();
}

PendingResponse::PendingResponse(ResponseSink& connection)
    : m_connection(&connection)
{
}

PendingResponse::PendingResponse(PendingResponse&& other) noexcept
    : m_connection(std::exchange(other.m_connection, nullptr))
{
}

PendingResponse& PendingResponse::operator=(PendingResponse&& other) noexcept
{
    PendingResponse taken(std::move(other));
    m_connection.swap(taken.m_connection);
    return *this;
}

PendingResponse::~PendingResponse()
{
    if (m_connection) {
        m_connection->respond(errorResponse(500, "failed"));
    }
}

void PendingResponse::send(
    int status, const QByteArray& contentType, const QByteArray& body, const HttpHeaders& headers)
{
    if (const auto connection = std::exchange(m_connection, nullptr)) {
        HttpHeaders all = safeApiHeaders(headers);
        if (!contentType.isEmpty()) {
            all.emplace_back("Content-Type", contentType);
        }
        connection->respond({status, all, body});
    }
}

EventStream PendingResponse::openEvents()
{
    const auto connection = std::exchange(m_connection, nullptr);
    return connection && connection->openEvents() ? EventStream(connection) : EventStream();
}

} // namespace wingbell
