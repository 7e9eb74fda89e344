#pragma once

#include "Browser.h"
#include "relay/http/HttpsServer.h"

#include <QByteArray>
#include <QObject>

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

/// A browser at `from` that has asked.
[[nodiscard]] Browser
asking(const WebUnderTest& web, const QByteArray& request, const char* from = "127.0.0.1");

/// True when `browser` got a response of that status, and that response alone.
[[nodiscard]] bool got(Browser& browser, int status);

/// True when the main loop comes to rest: nothing is ready over and over again.
[[nodiscard]] bool loopRests();

/// A test after which no more descriptors are open than before.
class WebTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

private:
    std::size_t m_descriptorsBefore = 0;
};

} // namespace wingbell
