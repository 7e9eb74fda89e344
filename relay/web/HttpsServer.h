#pragma once

#include "relay/web/LoopSource.h"
#include "relay/web/RequestLimiter.h"
#include "relay/web/TcpListener.h"
#include "relay/web/TlsIdentity.h"
#include "relay/web/WebConnectionOwner.h"
#include "relay/web/WebHeaders.h"
#include "relay/web/WebLimits.h"
#include "relay/web/WebRefusal.h"
#include "relay/web/WebReply.h"
#include "relay/web/WebRequest.h"
#include "relay/web/WebTable.h"

#include <QByteArray>
#include <QHash>
#include <QString>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace wingbell {

class WebConnection;

/// Pages and an API over HTTPS, from an exact table of paths: no file is ever read. A request by
/// plain http on the same port gets one explaining page and nothing else.
///
/// Lives on the thread that made it, in that thread's default GLib main context; everything it
/// calls is called from there, never from inside a call of yours, and may do anything but destroy
/// the server. Takes connections from its making to goodbye() or its end. Starts no thread.
class HttpsServer final : private WebConnectionOwner
{
public:
    using Handler = WebTable::Handler;
    using Refused = std::function<void(WebRefusal cause, const QHostAddress& peer)>;

    /// The server, or, where it is missing, what is wrong with the certificate.
    struct Opening;

    /// Serves on `listener`. `pem`: the certificate and its private key, as PEM text.
    [[nodiscard]] static Opening
    open(TcpListener listener, const QByteArray& pem, const WebLimits& limits = {});

    HttpsServer(const HttpsServer&) = delete;
    HttpsServer& operator=(const HttpsServer&) = delete;

    /// Cuts every connection at once.
    ~HttpsServer() override;

    /// Gives another certificate to those who connect from now on. Where it cannot be used, says
    /// why and keeps the old one; empty when all is well.
    [[nodiscard]] QString useCertificate(const QByteArray& pem);

    /// The names under which this machine is asked for, besides its addresses and localhost: by
    /// any other name the API answers 421, as it would be a foreign page's trick. Any case.
    void setHostNames(const std::vector<QByteArray>& names);

    /// What plain http gets, as HTML in UTF-8.
    void setPlainPage(const QByteArray& html);

    /// Answers GET and HEAD of `path` with `bytes`. `headers` are added to, or replace, those that
    /// keep a browser safe.
    void addPage(
        const QByteArray& path, const QByteArray& contentType, const QByteArray& bytes,
        const WebHeaders& headers = {});

    /// Calls `handler` for each GET, or POST, of `path`. One path may have both.
    void onGet(const QByteArray& path, Handler handler);
    void onPost(const QByteArray& path, Handler handler);

    /// Calls `refused` each time somebody is turned away; not bounded in number.
    void onRefused(Refused refused);

    /// Connections that are open now, in whatever state.
    [[nodiscard]] std::size_t connections() const;

    /// Takes nobody new, closes the event streams as soon as they are flushed, lets answers on
    /// their way out; after `patience` cuts what is left. Then calls `done`, once, from the main
    /// loop; `done` may destroy the server.
    void goodbye(std::chrono::milliseconds patience, std::function<void()> done);

private:
    HttpsServer(
        TcpListener listener, std::shared_ptr<const TlsIdentity> identity, const WebLimits& limits);

    void
    requested(RequestReader::Request request, const QHostAddress& peer, WebReply reply) override;
    [[nodiscard]] QByteArray plainPage() const override { return m_plainPage; }
    void refused(WebRefusal cause, const QHostAddress& peer) override;
    void ended(WebConnection& connection) override;

    void takeConnections(short events);
    [[nodiscard]] bool takeConnection();
    void rest();
    void welcome(FileDescriptor descriptor, const QHostAddress& peer);
    [[nodiscard]] std::optional<WebRefusal> objection(const QHostAddress& peer);
    [[nodiscard]] std::vector<std::shared_ptr<WebConnection>> everybody() const;
    void leave();

    TcpListener m_listener;
    std::shared_ptr<const TlsIdentity> m_identity;
    WebLimits m_limits;
    RequestLimiter m_limiter;
    WebTable m_table;
    QByteArray m_plainPage;
    Refused m_refused;
    std::map<const WebConnection*, std::shared_ptr<WebConnection>> m_connections;
    QHash<QHostAddress, std::size_t> m_fromAddress;
    std::unique_ptr<LoopSource> m_taking;
    std::unique_ptr<LoopSource> m_leaving;
    std::function<void()> m_done;
};

struct HttpsServer::Opening
{
    std::unique_ptr<HttpsServer> server;
    QString error; ///< for a person; a clause without a capital or a full stop
};

} // namespace wingbell
