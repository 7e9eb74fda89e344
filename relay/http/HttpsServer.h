#pragma once

#include "relay/http/HttpConnection.h"
#include "relay/http/RequestLimiter.h"
#include "relay/http/Router.h"

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QSocketNotifier>
#include <QSslConfiguration>
#include <QTimer>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace wingbell {

/// Pages and an API over HTTPS, from an exact table of paths: no file is ever read. A request by
/// plain http on the same port gets one explaining page and nothing else.
///
/// Lives in the event loop of the thread that made it; everything it calls is called from there,
/// never from inside a call of yours, and may do anything but destroy the server. Takes connections
/// from its making to shutDown() or its end. Starts no thread.
class HttpsServer final : private HttpConnection::Owner
{
public:
    using Handler = Router::Handler;
    using Rejected = std::function<void(HttpError error, const QHostAddress& peer)>;

    /// Serves on `listener`, a TCP port that is listened on and never makes a call wait, with the
    /// certificate in `tls` (see tlsConfiguration()).
    HttpsServer(
        FileDescriptor listener, const QSslConfiguration& tls, const HttpLimits& limits = {});
    Q_DISABLE_COPY_MOVE(HttpsServer)

    /// Cuts every connection at once.
    ~HttpsServer();

    /// The names under which this machine is asked for, besides its addresses and localhost: by
    /// any other name the API answers 421, as it would be a foreign page's trick. Any case.
    void setHostNames(const std::vector<QByteArray>& names);

    /// What plain http gets, as HTML in UTF-8.
    void setPlainPage(const QByteArray& html);

    /// Answers GET and HEAD of `path` with `bytes`. `headers` are added to, or replace, the
    /// security headers.
    void addPage(
        const QByteArray& path, const QByteArray& contentType, const QByteArray& bytes,
        const HttpHeaders& headers = {});

    /// Calls `handler` for each GET, or POST, of `path`. One path may have both.
    void onGet(const QByteArray& path, Handler handler);
    void onPost(const QByteArray& path, Handler handler);

    /// Calls `rejected` each time a client or a request is rejected; not limited in rate.
    void onRejected(Rejected rejected);

    /// Takes no new connection, closes the event streams as soon as they are flushed, lets
    /// responses on their way out; after `timeout` cuts what is left. Then calls `done`, once, from
    /// the event loop; `done` may destroy the server.
    void shutDown(std::chrono::milliseconds timeout, std::function<void()> done);

private:
    void requested(const HttpRequest& request, PendingResponse response) override;
    [[nodiscard]] QByteArray plainPage() const override { return m_plainPage; }
    void rejected(HttpError error, const QHostAddress& peer) override;
    void closed(HttpConnection& connection) override;

    void acceptConnections();
    [[nodiscard]] bool acceptConnection();
    void welcome(FileDescriptor descriptor, const QHostAddress& peer);
    [[nodiscard]] std::optional<HttpError> connectionError(const QHostAddress& peer);
    [[nodiscard]] std::vector<HttpConnection*> connections() const;
    void endShutDown();

    FileDescriptor m_listener;
    QSslConfiguration m_tls;
    HttpLimits m_limits;
    RequestLimiter m_limiter;
    Router m_router;
    QByteArray m_plainPage;
    Rejected m_rejected;
    std::map<const HttpConnection*, std::unique_ptr<HttpConnection>> m_connections;
    QHash<QHostAddress, std::size_t> m_countOfAddress;
    QSocketNotifier m_notifier;
    QTimer m_acceptAgain;
    QTimer m_shutDownTimer;
    std::function<void()> m_done;
};

} // namespace wingbell
