#pragma once

#include "base/Result.h"
#include "relay/http/HttpLimits.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QHostAddress>

#include <cstdint>
#include <optional>

namespace wingbell {

/// Why a request is not served, and the response that says so.
struct RequestError
{
    int status = 400;
    QByteArray word; ///< for the page: the "error" of the response
    HttpError cause = HttpError::Malformed;

    friend bool operator==(const RequestError&, const RequestError&) = default;
};

/// An HTTP request: its first line, the header fields that matter here, and its body.
struct HttpRequest
{
    QByteArray method; ///< "GET", "HEAD" or "POST"
    QByteArray path;   ///< as sent, up to the question mark
    QByteArray query;  ///< as sent, after it
    QByteArray host;
    std::optional<QByteArray> origin;
    QByteArray ifNoneMatch;
    std::uint64_t contentLength = 0;
    bool isChunked = false;
    bool expectsContinue = false;
    bool keepsConnection = true;
    bool takesChunks = true; ///< false for HTTP/1.0
    QByteArray body;
    QHostAddress peer; ///< who sent it

    /// The first value of that name in the query, decoded; nullopt if there is none.
    [[nodiscard]] std::optional<QByteArray> queryItem(QByteArrayView name) const;
};

/// Reads `head`: everything before the empty line, without the end of the last line.
///
/// Stricter than HTTP asks for, against request smuggling: whatever two readers could understand
/// differently (a line end of one character, a field that goes on in the next line, two lengths, a
/// length beside chunks) is malformed. Methods and versions that are not served are errors, too.
[[nodiscard]] Result<HttpRequest, RequestError> readRequestHead(QByteArrayView head);

} // namespace wingbell
