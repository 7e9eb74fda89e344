#pragma once

#include "relay/http/HttpConnection.h"
#include "relay/http/RequestLimiter.h"
#include "relay/http/Router.h"

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QSocketNotifier>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QTimer>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace wingbell {

/// How this server speaks TLS: 1.2 or later, authenticated encryption only, HTTP/1.1 inside, no
/// renegotiation, no sessions kept, no certificate asked of a client.
///
/// `pem`: a certificate with a key on an elliptic curve or of RSA, further certificates of its
/// chain behind it, and the private key. nullopt if there is no such thing in it, or if TLS cannot
/// be set up.
///
/// Loads what Qt and OpenSSL need from the disk, so that TLS needs no files later on.
[[nodiscard]] std::optional<QSslConfiguration> tlsConfiguration(const QByteArray& pem);

/// Pages and an API over HTTPS. A request by plain http on the same port gets one explaining page,
/// or one of the router's downloads, and nothing else.
///
/// While all connections are taken, a new one takes the place of one that waits for its client: of
/// the network (IPv4 /24, IPv6 /64) that has most of these, there of the address that has most, the
/// oldest. So no client, and no network, can keep the others out.
/// Event streams stay: each belongs to a session.
///
/// Lives in the event loop of the thread that made it; everything it calls is called from there,
/// never from inside a call of yours, and may do anything but destroy the server. Takes connections
/// from its making to shutDown() or its end. Starts no thread.
class HttpsServer final : private HttpConnection::Owner
{
public:
    using Rejected = std::function<void(HttpError error, const QHostAddress& peer)>;

    /// Serves on `listener`, a TCP port that is listened on and never makes a call wait, with the
    /// certificate in `tls` (see tlsConfiguration()).
    HttpsServer(
        FileDescriptor listener, const QSslConfiguration& tls, const HttpLimits& limits = {});
    Q_DISABLE_COPY_MOVE(HttpsServer)

    /// Cuts every connection at once.
    ~HttpsServer();

    /// What is served.
    [[nodiscard]] Router& router() { return m_router; }

    /// From now on new connections to `addresses` of this machine get the certificate in `tls`. An
    /// address keeps the one before while that names it and is good for another day: a browser
    /// that has accepted it would ask again.
    void renewTls(const QSslConfiguration& tls, const std::vector<QHostAddress>& addresses);

    /// What browsers are shown that connect to `address` of this machine.
    [[nodiscard]] QSslCertificate certificateAt(const QHostAddress& address) const;

    /// Calls `rejected` each time a client or a request is rejected; not limited in rate.
    void onRejected(Rejected rejected);

    /// Takes no new connection, closes the event streams as soon as they are flushed, lets
    /// responses on their way out; after `timeout` cuts what is left. Then calls `done`, once, from
    /// the event loop; `done` may destroy the server.
    void shutDown(std::chrono::milliseconds timeout, std::function<void()> done);

private:
    void requested(const HttpRequest& request, PendingResponse response) override;
    [[nodiscard]] const Response& plainPage(const QByteArray& path) const override
    {
        return m_router.plainPage(path);
    }
    void rejected(HttpError error, const QHostAddress& peer) override;
    void closed(HttpConnection& connection) override;

    [[nodiscard]] const QSslConfiguration& tlsAt(const QHostAddress& address) const;
    void acceptConnections();
    [[nodiscard]] bool acceptConnection();
    [[nodiscard]] std::optional<HttpError> connectionError(const QHostAddress& peer);
    [[nodiscard]] std::size_t connectionsFrom(const QHostAddress& peer) const;
    void makeRoom(const std::optional<QHostAddress>& peer);
    [[nodiscard]] std::vector<HttpConnection*> connections() const;
    void endShutDown();

    FileDescriptor m_listener;
    QSslConfiguration m_tls;
    QHash<QHostAddress, QSslConfiguration> m_laterTls; ///< at addresses that m_tls is not good for
    HttpLimits m_limits;
    RequestLimiter m_limiter;
    Router m_router;
    Rejected m_rejected;
    std::map<const HttpConnection*, std::unique_ptr<HttpConnection>> m_connections;
    QSocketNotifier m_notifier;
    QTimer m_acceptAgain;
    QTimer m_shutDownTimer;
    std::function<void()> m_done;
};

} // namespace wingbell
