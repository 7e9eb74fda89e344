#pragma once

#include <QByteArray>

#include <utility>
#include <vector>

namespace wingbell {

/// Names and values of header fields, in the order in which they are sent.
using HttpHeaders = std::vector<std::pair<QByteArray, QByteArray>>;

struct Response
{
    int status = 500;
    HttpHeaders headers;
    QByteArray body;
};

/// The response with a page, and the headers that keep its browser safe: its
/// Content-Security-Policy, and by default that browsers may cache it but must ask each time
/// whether it has changed.
[[nodiscard]] Response pageResponse(
    const QByteArray& contentType, const QByteArray& body, const QByteArray& policy,
    const QByteArray& caching = "no-cache");

/// The policy of a page that runs only what comes from here, and never inside another page.
[[nodiscard]] QByteArray defaultPagePolicy();

/// A response of the API: it is not shown as a document, not cached, and not readable for other
/// sites. Without a `body` it has no content type either.
[[nodiscard]] Response jsonResponse(int status, const QByteArray& body);

/// An error for the page: {"error":"word"}. `word` is plain text without quotes.
[[nodiscard]] Response errorResponse(int status, const QByteArray& word);

/// The response that begins a stream of server-sent events.
[[nodiscard]] Response eventStreamResponse();

/// How a client knows where a response's body ends.
enum class Framing {
    Length,
    Chunks,
    EndOfConnection,
};

/// The lines before the body, with the empty line. A header with a line break in it is left out.
[[nodiscard]] QByteArray
responseHead(const Response& response, Framing framing, bool keepsConnection);

/// `bytes` as one chunk of a body; an empty chunk ends the body.
[[nodiscard]] QByteArray chunk(const QByteArray& bytes);

/// A server-sent event, as text/event-stream. The line breaks of `data` are kept.
[[nodiscard]] QByteArray serverSentEvent(const QByteArray& name, QByteArray data);

} // namespace wingbell
