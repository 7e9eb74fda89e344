#pragma once

#include "relay/http/Response.h"

#include <QObject>
#include <QPointer>

#include <utility>

namespace wingbell {

/// The connection over which a request came, as the two handles below know it. A connection has at
/// most one of them at a time: it reads the next request when the response is complete. No call
/// does more than take note; the work is done later, from the event loop.
class ResponseSink : public QObject
{
public:
    virtual void respond(const Response& response) = 0;

    /// False if there is no client any more.
    [[nodiscard]] virtual bool openEvents() = 0;
    [[nodiscard]] virtual bool hasOpenEvents() const = 0;
    virtual void sendEvent(const QByteArray& name, const QByteArray& data) = 0;
    virtual void closeEvents() = 0;
};

/// Points to a connection, or to none once that is closed, or once it was moved from. Move-only.
class ResponseHandle
{
public:
    explicit ResponseHandle(ResponseSink* connection)
        : m_connection(connection)
    {
    }
    ResponseHandle(ResponseHandle&& other) noexcept
        : m_connection(other.take())
    {
    }
    Q_DISABLE_COPY(ResponseHandle)

protected:
    ~ResponseHandle() = default;

    [[nodiscard]] ResponseSink* take() { return std::exchange(m_connection, nullptr); }

    QPointer<ResponseSink> m_connection;
};

/// Events to one browser (text/event-stream), from PendingResponse::openEvents(). Move-only; main
/// thread only; harmless once the browser has gone or the server has ended.
///
/// For states rather than for a log: of each name only the newest event that is not yet on its way
/// is kept. A dropped handle closes the stream as close() does.
class EventStream : public ResponseHandle
{
public:
    using ResponseHandle::ResponseHandle;
    EventStream(EventStream&&) noexcept = default;
    EventStream& operator=(EventStream other) noexcept
    {
        m_connection.swap(other.m_connection);
        return *this;
    }
    ~EventStream() { close(); }

    /// Sends `data` (any text; its line breaks are kept) as an event called `name` (without line
    /// breaks). The number of different names must be bounded: take them from a fixed set.
    void send(const QByteArray& name, const QByteArray& data);

    /// Ends the stream once what was sent is out. Nothing can be sent from then on.
    void close();

    /// False when the browser has gone, the stream was closed, or there never was one. A browser
    /// that vanished without a word (a flat battery) is only noticed some time after a write, so
    /// send a heartbeat.
    [[nodiscard]] bool isOpen() const { return m_connection && m_connection->hasOpenEvents(); }
};

/// The right, and the duty, to answer one request: at once or later, on the main thread. Move-only.
/// One that is dropped without a response sends 500. Harmless once the browser has gone.
class PendingResponse : public ResponseHandle
{
public:
    using ResponseHandle::ResponseHandle;
    PendingResponse(PendingResponse&&) noexcept = default;
    PendingResponse& operator=(PendingResponse other) noexcept
    {
        m_connection.swap(other.m_connection);
        return *this;
    }
    ~PendingResponse() { sendError(500, "failed"); }

    /// Responds. Later calls do nothing.
    void send(const Response& response);
    void sendJson(int status, const QByteArray& json) { send(jsonResponse(status, json)); }
    void sendError(int status, const QByteArray& word) { send(errorResponse(status, word)); }

    /// Responds with 204, without a body.
    void sendNothing() { send(jsonResponse(204, {})); }

    /// Responds with a stream of events, open from now on.
    [[nodiscard]] EventStream openEvents();
};

} // namespace wingbell
