#include "relay/web/WebTable.h"

#include "relay/web/HostCheck.h"
#include "relay/web/SafeHeaders.h"

#include <QCryptographicHash>

#include <algorithm>
#include <utility>

namespace wingbell {

namespace {

void sendError(WebReply& reply, int status, const QByteArray& word, const WebHeaders& headers = {})
{
    const Answer answer = errorAnswer(status, word, headers);
    reply.send(answer.status, {}, answer.body, answer.headers);
}

void refuse(WebReply& reply, WebRefusal why)
{
    if (why == WebRefusal::UnknownHost) {
        sendError(reply, 421, "wrong-host");
    } else {
        sendError(reply, 403, "foreign-origin");
    }
}

QByteArray tagOf(const QByteArray& bytes)
{
    const QByteArray hash = QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
    return QByteArray("\"").append(hash.first(16).toHex()).append('"');
}

} // namespace

void WebTable::setHostNames(const std::vector<QByteArray>& names)
{
    m_names.clear();
    for (const QByteArray& name : names) {
        m_names.push_back(name.toLower());
    }
}

void WebTable::addPage(
    const QByteArray& path, const QByteArray& contentType, const QByteArray& bytes,
    const WebHeaders& headers)
{
    Page page{{200, safePageHeaders(headers), bytes}, tagOf(bytes)};
    page.answer.headers.emplace_back("ETag", page.tag);
    page.answer.headers.emplace_back("Content-Type", contentType);
    m_pages[path] = std::move(page);
}

void WebTable::onGet(const QByteArray& path, Handler handler)
{
    m_handlers[path].get = std::move(handler);
}

void WebTable::onPost(const QByteArray& path, Handler handler)
{
    m_handlers[path].post = std::move(handler);
}

std::optional<WebRefusal>
WebTable::serve(RequestReader::Request request, const QHostAddress& peer, WebReply reply) const
{
    const auto page = m_pages.find(request.head.path);
    const auto handlers = m_handlers.find(request.head.path);
    if (page != m_pages.end() && request.head.method != "POST") {
        sendPage(page->second, request.head, reply);
    } else if (handlers != m_handlers.end()) {
        return handOn(handlers->second, std::move(request), peer, std::move(reply));
    } else if (page != m_pages.end()) {
        sendError(reply, 405, "wrong-method", {{"Allow", "GET, HEAD"}});
    } else {
        sendError(reply, 404, "not-found");
    }
    return std::nullopt;
}

void WebTable::sendPage(const Page& page, const RequestHead& head, WebReply& reply)
{
    if (head.ifNoneMatch.contains(page.tag)) {
        reply.send(304, {}, {}, page.answer.headers);
    } else {
        reply.send(page.answer.status, {}, page.answer.body, page.answer.headers);
    }
}

std::optional<WebRefusal> WebTable::handOn(
    const Handlers& handlers, RequestReader::Request request, const QHostAddress& peer,
    WebReply reply) const
{
    RequestHead& head = request.head;
    if (const auto why = objection(head)) {
        refuse(reply, *why);
        return why;
    }
    const Handler& handler = head.method == "POST" ? handlers.post : handlers.get;
    if (!handler || head.method == "HEAD") {
        sendError(reply, 405, "wrong-method", {{"Allow", allowed(handlers)}});
        return std::nullopt;
    }
    handler(
        {head.method, head.path, head.query, head.contentType, std::move(request.body), peer},
        std::move(reply));
    return std::nullopt;
}

QByteArray WebTable::allowed(const Handlers& handlers)
{
    if (handlers.get && handlers.post) {
        return "GET, POST";
    }
    return handlers.get ? "GET" : "POST";
}

/// What keeps a page from elsewhere, in the browser of somebody who may, from speaking for him.
std::optional<WebRefusal> WebTable::objection(const RequestHead& head) const
{
    if (!isOwnHost(head.host, m_names)) {
        return WebRefusal::UnknownHost;
    }
    if (head.origin && !isSameOrigin(*head.origin, head.host)) {
        return WebRefusal::ForeignOrigin;
    }
    return std::nullopt;
}

} // namespace wingbell
