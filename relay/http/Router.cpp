#include "relay/http/Router.h"

#include <QCryptographicHash>

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <utility>

namespace wingbell {

namespace {

bool isAddress(int family, const QByteArray& text)
{
    std::array<unsigned char, sizeof(in6_addr)> address = {};
    return ::inet_pton(family, text.constData(), address.data()) == 1;
}

bool isPort(QByteArrayView text)
{
    return std::all_of(text.begin(), text.end(), [](char character) {
        return character >= '0' && character <= '9';
    });
}

Response wrongMethod(const QByteArray& allowed)
{
    Response response = errorResponse(405, "wrong-method");
    response.headers.emplace_back("Allow", allowed);
    return response;
}

QByteArray tagOf(const QByteArray& bytes)
{
    const QByteArray hash = QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
    return QByteArray("\"").append(hash.first(16).toHex()).append('"');
}

} // namespace

bool isOwnHost(QByteArrayView host, const std::vector<QByteArray>& names)
{
    const bool isBracketed = host.startsWith('[');
    const qsizetype colon = host.indexOf(':');
    const qsizetype end = isBracketed ? host.indexOf(']') + 1 : colon < 0 ? host.size() : colon;
    QByteArray name = host.first(end).toByteArray().toLower();
    const QByteArrayView port = host.sliced(end);
    if (!port.isEmpty() && !(port.startsWith(':') && isPort(port.sliced(1)))) {
        return false;
    }
    if (isBracketed) {
        return isAddress(AF_INET6, name.sliced(1).chopped(1));
    }
    if (name.endsWith('.')) {
        name.chop(1);
    }
    return name == "localhost" || isAddress(AF_INET, name) ||
           std::find(names.begin(), names.end(), name) != names.end();
}

bool isSameOrigin(QByteArrayView origin, QByteArrayView host)
{
    constexpr QByteArrayView scheme("https://");
    return origin.startsWith(scheme) &&
           origin.sliced(scheme.size()).compare(host, Qt::CaseInsensitive) == 0;
}

void Router::setHostNames(const std::vector<QByteArray>& names)
{
    m_names.clear();
    for (const QByteArray& name : names) {
        m_names.push_back(name.toLower());
    }
}

void Router::setPlainPage(const QByteArray& html)
{
    // The page is one piece: it has its style in itself, and nothing can be loaded beside it.
    m_plainPage = pageResponse(
        "text/html; charset=utf-8", html,
        "default-src 'none'; style-src 'unsafe-inline'; base-uri 'none'; form-action 'none'; "
        "frame-ancestors 'none'",
        "no-store");
}

const Response& Router::plainPage(const QByteArray& path) const
{
    const auto download = m_downloads.find(path);
    return download == m_downloads.end() ? m_plainPage : download->second;
}

void Router::addDownload(
    const QByteArray& path, const QByteArray& contentType, const QByteArray& bytes)
{
    const QByteArray policy = "default-src 'none'; frame-ancestors 'none'";
    addPage(path, contentType, bytes, policy);
    m_downloads[path] = pageResponse(contentType, bytes, policy, "no-store");
}

void Router::addPage(
    const QByteArray& path, const QByteArray& contentType, const QByteArray& bytes,
    const QByteArray& policy)
{
    Page page{pageResponse(contentType, bytes, policy), tagOf(bytes)};
    page.response.headers.emplace_back("ETag", page.tag);
    m_pages[path] = std::move(page);
}

void Router::onGet(const QByteArray& path, Handler handler)
{
    m_handlers[path].get = std::move(handler);
}

void Router::onPost(const QByteArray& path, Handler handler)
{
    m_handlers[path].post = std::move(handler);
}

std::optional<HttpError> Router::serve(const HttpRequest& request, PendingResponse response) const
{
    const auto page = m_pages.find(request.path);
    const auto handlers = m_handlers.find(request.path);
    if (page != m_pages.end() && request.method != "POST") {
        const auto& [stored, tag] = page->second;
        const bool isKnown = request.ifNoneMatch.contains(tag);
        response.send(isKnown ? Response{304, stored.headers, {}} : stored);
    } else if (handlers != m_handlers.end()) {
        return callHandler(handlers->second, request, std::move(response));
    } else if (page != m_pages.end()) {
        response.send(wrongMethod("GET, HEAD"));
    } else {
        response.sendError(404, "not-found");
    }
    return std::nullopt;
}

/// The checks of Host and Origin keep a page from elsewhere from using the rights of a crew member
/// in whose browser it runs.
std::optional<HttpError> Router::callHandler(
    const Handlers& handlers, const HttpRequest& request, PendingResponse response) const
{
    if (!isOwnHost(request.host, m_names)) {
        response.sendError(421, "wrong-host");
        return HttpError::UnknownHost;
    }
    if (request.origin && !isSameOrigin(*request.origin, request.host)) {
        response.sendError(403, "foreign-origin");
        return HttpError::ForeignOrigin;
    }
    const Handler& handler = request.method == "POST" ? handlers.post : handlers.get;
    if (handler && request.method != "HEAD") {
        handler(request, std::move(response));
    } else if (handlers.get && handlers.post) {
        response.send(wrongMethod("GET, POST"));
    } else {
        response.send(wrongMethod(handlers.get ? "GET" : "POST"));
    }
    return std::nullopt;
}

} // namespace wingbell
