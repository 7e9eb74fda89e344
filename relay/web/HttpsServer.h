#pragma once

#include "relay/web/TcpListener.h"
#include "relay/web/WebHeaders.h"
#include "relay/web/WebLimits.h"
#include "relay/web/WebRefusal.h"
#include "relay/web/WebReply.h"
#include "relay/web/WebRequest.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>
#include <sys/socket.h>
#include <vector>

namespace wingbell {

class HttpsServing;

/// Pages and an API over HTTPS, from an exact table of paths: no file is ever read. A request by
/// plain http on the same port gets one explaining page and nothing else.
///
/// Lives on the thread that made it, in that thread's default GLib main context; everything it
/// calls is called from there. Takes connections from its making to goodbye() or its end.
class HttpsServer
{
public:
    using Handler = std::function<void(const WebRequest&, WebReply)>;
    using Refused = std::function<void(WebRefusal cause, const sockaddr_storage& peer)>;

    /// The server, or, where it is missing, what is wrong with the certificate.
    struct Opening;

    /// Serves on `listener`. `pem`: the certificate and its private key, as PEM text.
    [[nodiscard]] static Opening
    open(TcpListener listener, const QByteArray& pem, const WebLimits& limits = {});

    HttpsServer(const HttpsServer&) = delete;
    HttpsServer& operator=(const HttpsServer&) = delete;

    /// Cuts every connection at once.
    ~HttpsServer();

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
    /// loop.
    void goodbye(std::chrono::milliseconds patience, std::function<void()> done);

private:
    explicit HttpsServer(std::unique_ptr<HttpsServing> serving);

    std::unique_ptr<HttpsServing> m_serving;
};

struct HttpsServer::Opening
{
    std::unique_ptr<HttpsServer> server;
    QString error; ///< for a person; a clause without a capital or a full stop
};

} // namespace wingbell
