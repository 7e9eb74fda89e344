#pragma once

#include "relay/http/HttpRequest.h"
#include "relay/http/PendingResponse.h"

#include <QByteArray>

#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace wingbell {

/// True if a request's Host names this machine: by an address, as localhost, or by one of `names`
/// (in lower case). A foreign page can make the browser ask for a foreign name that leads here, but
/// not for one of these (DNS rebinding).
[[nodiscard]] bool isOwnHost(QByteArrayView host, const std::vector<QByteArray>& names);

/// True if a page with this `origin` is a page of the server that `host` names, over https.
[[nodiscard]] bool isSameOrigin(QByteArrayView origin, QByteArrayView host);

/// Which page or handler serves a request: an exact table of paths, no file is ever read. Rejects
/// requests of foreign pages.
class Router
{
public:
    using Handler = std::function<void(const HttpRequest&, PendingResponse)>;

    /// The names under which this machine is asked for, besides its addresses and localhost: by
    /// any other name the API answers 421, as it would be a foreign page's trick. Any case.
    void setHostNames(const std::vector<QByteArray>& names);

    /// What plain http gets, as HTML in UTF-8, for every path but those of addDownload().
    void setPlainPage(const QByteArray& html);
    [[nodiscard]] const Response& plainPage(const QByteArray& path) const;

    /// Answers GET and HEAD of `path` with `bytes`, which are no secret, over plain http as well.
    void
    addDownload(const QByteArray& path, const QByteArray& contentType, const QByteArray& bytes);

    /// Answers GET and HEAD of `path` with `bytes`.
    void addPage(
        const QByteArray& path, const QByteArray& contentType, const QByteArray& bytes,
        const QByteArray& policy = defaultPagePolicy());

    /// Calls `handler` for each GET, or POST, of `path`. One path may have both.
    void onGet(const QByteArray& path, Handler handler);
    void onPost(const QByteArray& path, Handler handler);

    /// Responds to `request`, or has its handler respond. Returns the reason if it is rejected.
    [[nodiscard]] std::optional<HttpError>
    serve(const HttpRequest& request, PendingResponse response) const;

private:
    struct Page
    {
        Response response;
        QByteArray tag;
    };
    struct Handlers
    {
        Handler get;
        Handler post;
    };

    [[nodiscard]] std::optional<HttpError> callHandler(
        const Handlers& handlers, const HttpRequest& request, PendingResponse response) const;

    std::vector<QByteArray> m_names;
    std::map<QByteArray, Page> m_pages;
    std::map<QByteArray, Handlers> m_handlers;
    Response m_plainPage;
    std::map<QByteArray, Response> m_downloads;
};

} // namespace wingbell
