#include "relay/http/PendingResponse.h"

namespace wingbell {

void EventStream::send(const QByteArray& name, const QByteArray& data)
{
    if (m_connection) {
        m_connection->sendEvent(name, data);
    }
}

void EventStream::close()
{
    if (ResponseSink* const connection = take()) {
        connection->closeEvents();
    }
}

void PendingResponse::send(const Response& response)
{
    if (ResponseSink* const connection = take()) {
        connection->respond(response);
    }
}

EventStream PendingResponse::openEvents()
{
    ResponseSink* const connection = take();
    return EventStream(connection != nullptr && connection->openEvents() ? connection : nullptr);
}

} // namespace wingbell
