#pragma once

#include "relay/http/HttpLimits.h"

#include <QByteArray>
#include <QByteArrayView>

#include <cstdint>
#include <optional>
#include <variant>

namespace wingbell {

/// Why a request is not served, and how that is answered.
struct RequestError
{
    int status = 400;
    QByteArray word; ///< for the page: the "error" of the response
    HttpError cause = HttpError::Malformed;

    friend bool operator==(const RequestError&, const RequestError&) = default;
};

/// A request's line and the header fields that matter here.
struct RequestHead
{
    QByteArray method; ///< "GET", "HEAD" or "POST"
    QByteArray path;   ///< as sent, up to the question mark
    QByteArray query;  ///< as sent, after it
    QByteArray host;
    std::optional<QByteArray> origin;
    QByteArray ifNoneMatch;
    std::optional<std::uint64_t> contentLength;
    bool isChunked = false;
    bool expectsContinue = false;
    bool keepsConnection = true;
    bool takesChunks = true; ///< false for HTTP/1.0

    /// The first value of that name in the query, decoded; nullopt if there is none.
    [[nodiscard]] std::optional<QByteArray> queryItem(QByteArrayView name) const;

    friend bool operator==(const RequestHead&, const RequestHead&) = default;
};

/// Reads `head`: everything before the empty line, without the last line's end.
///
/// Stricter than HTTP asks for: whatever two readers could understand differently (a line end of
/// one character, a field that goes on in the next line, two lengths, a length beside chunks) is
/// malformed. Methods that are not served, and versions, are errors here already.
[[nodiscard]] std::variant<RequestHead, RequestError> readRequestHead(QByteArrayView head);

} // namespace wingbell
