#pragma once

#include "relay/http/HttpsServer.h"

#include <QByteArray>

#include <memory>
#include <vector>

namespace wingbell {

/// A server on a free port, with a page "/", and an API that a test can look into.
struct WebUnderTest
{
    explicit WebUnderTest(const HttpLimits& limits = {});

    /// Limits that no test meets by accident.
    [[nodiscard]] static HttpLimits wideLimits();

    /// How many connections of the server are open, in whatever state.
    [[nodiscard]] std::size_t connections() const;

    [[nodiscard]] bool hasRejected(HttpError error) const;

    std::unique_ptr<HttpsServer> server;
    quint16 port = 0;
    std::vector<HttpError> rejections;
    std::vector<HttpRequest> requests;    ///< that came to /api/echo
    std::vector<PendingResponse> waiting; ///< of requests to /api/later
    std::vector<EventStream> streams;     ///< of requests to /api/events
};

/// A request for `path`, as a browser sends it to 127.0.0.1.
[[nodiscard]] QByteArray get(const QByteArray& path, const QByteArray& fields = {});
[[nodiscard]] QByteArray
post(const QByteArray& path, const QByteArray& body, const QByteArray& fields = {});

/// True when the main loop comes to rest: nothing is ready over and over again.
[[nodiscard]] bool loopRests();

/// How many descriptors this program has open.
[[nodiscard]] std::size_t openDescriptors();

} // namespace wingbell
