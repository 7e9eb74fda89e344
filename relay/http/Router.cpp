#include "relay/http/Router.h"

#include <QCryptographicHash>

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <utility>

namespace wingbell {

namespace {

bool isAddress(int family, QByteArrayView text)
{
    std::array<unsigned char, sizeof(in6_addr)> address = {};
    return ::inet_pton(family, text.toByteArray().constData(), address.data()) == 1;
}

bool isPort(QByteArrayView text)
{
    return std::all_of(text.begin(), text.end(), [](char character) {
        return character >= '0' && character <= '9';
    });
}

/// True for nothing, or a colon and a port.
bool isPortPart(QByteArrayView text)
{
    return text.isEmpty() || (text.startsWith(':') && isPort(text.sliced(1)));
}

bool isBracketedAddress(QByteArrayView host)
{
    const qsizetype end = host.indexOf(']');
    return end > 0 && isAddress(AF_INET6, host.sliced(1, end - 1)) &&
           isPortPart(host.sliced(end + 1));
}

void sendError(
    PendingResponse& pending, int status, const QByteArray& word, const HttpHeaders& headers = {})
{
    const Response response = errorResponse(status, word, headers);
    pending.send(response.status, {}, response.body, response.headers);
}

void reject(PendingResponse& pending, HttpError error)
{
    if (error == HttpError::UnknownHost) {
        sendError(pending, 421, "wrong-host");
    } else {
        sendError(pending, 403, "foreign-origin");
    }
}

QByteArray tagOf(const QByteArray& bytes)
{
    const QByteArray hash = QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
    return QByteArray("\"").append(hash.first(16).toHex()).append('"');
}

} // namespace

bool isOwnHost(QByteArrayView host, const std::vector<QByteArray>& names)
{
    if (host.startsWith('[')) {
        return isBracketedAddress(host);
    }
    const qsizetype colon = host.indexOf(':');
    if (colon >= 0 && !isPortPart(host.sliced(colon))) {
        return false;
    }
    QByteArray name = (colon < 0 ? host : host.first(colon)).toByteArray().toLower();
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

void Router::addPage(
    const QByteArray& path, const QByteArray& contentType, const QByteArray& bytes,
    const HttpHeaders& headers)
{
    Page page{{200, safePageHeaders(headers), bytes}, tagOf(bytes)};
    page.response.headers.emplace_back("ETag", page.tag);
    page.response.headers.emplace_back("Content-Type", contentType);
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
    const auto page = m_pages.find(request.head.path);
    const auto handlers = m_handlers.find(request.head.path);
    if (page != m_pages.end() && request.head.method != "POST") {
        const auto& [stored, tag] = page->second;
        const bool isKnown = request.head.ifNoneMatch.contains(tag);
        response.send(
            isKnown ? 304 : stored.status, {}, isKnown ? QByteArray() : stored.body,
            stored.headers);
    } else if (handlers != m_handlers.end()) {
        return callHandler(handlers->second, request, std::move(response));
    } else if (page != m_pages.end()) {
        sendError(response, 405, "wrong-method", {{"Allow", "GET, HEAD"}});
    } else {
        sendError(response, 404, "not-found");
    }
    return std::nullopt;
}

std::optional<HttpError> Router::callHandler(
    const Handlers& handlers, const HttpRequest& request, PendingResponse response) const
{
    const RequestHead& head = request.head;
    if (const auto error = originError(head)) {
        reject(response, *error);
        return error;
    }
    const Handler& handler = head.method == "POST" ? handlers.post : handlers.get;
    if (!handler || head.method == "HEAD") {
        const bool hasBoth = handlers.get && handlers.post;
        sendError(
            response, 405, "wrong-method",
            {{"Allow", hasBoth        ? "GET, POST"
                       : handlers.get ? "GET"
                                      : "POST"}});
        return std::nullopt;
    }
    handler(request, std::move(response));
    return std::nullopt;
}

/// Keeps a page from elsewhere from using the rights of a crew member in whose browser it runs.
std::optional<HttpError> Router::originError(const RequestHead& head) const
{
    if (!isOwnHost(head.host, m_names)) {
        return HttpError::UnknownHost;
    }
    if (head.origin && !isSameOrigin(*head.origin, head.host)) {
        return HttpError::ForeignOrigin;
    }
    return std::nullopt;
}

} // namespace wingbell
