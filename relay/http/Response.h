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

/// An error for the page: {"error":"word"}. `word` is plain text without quotes.
[[nodiscard]] Response
errorResponse(int status, const QByteArray& word, const HttpHeaders& headers = {});

/// The security headers of an API response: it is not shown as a document, not cached, and not
/// readable for other sites. `headers` are added, or replace those of the same name.
[[nodiscard]] HttpHeaders safeApiHeaders(const HttpHeaders& headers = {});

/// The same for a page: it runs only what comes from here, and never inside another page. Browsers
/// may cache it but must ask each time whether it has changed.
[[nodiscard]] HttpHeaders safePageHeaders(const HttpHeaders& headers = {});

} // namespace wingbell
