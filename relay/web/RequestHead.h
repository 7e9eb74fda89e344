#pragma once

#include "relay/web/RequestProblem.h"

#include <QByteArray>
#include <QByteArrayView>

#include <cstdint>
#include <optional>
#include <variant>

namespace wingbell {

/// A request's line and the header fields that mean something here.
struct RequestHead
{
    QByteArray method; ///< "GET", "HEAD" or "POST"
    QByteArray path;   ///< as sent, up to the question mark
    QByteArray query;  ///< as sent, after it
    QByteArray host;
    std::optional<QByteArray> origin;
    QByteArray contentType;
    QByteArray ifNoneMatch;
    std::optional<std::uint64_t> contentLength;
    bool isChunked = false;
    bool expectsContinue = false;
    bool keepsConnection = true;
    bool takesChunks = true; ///< false for HTTP/1.0

    friend bool operator==(const RequestHead&, const RequestHead&) = default;
};

/// Reads `head`: everything before the empty line, without the last line's end.
///
/// Stricter than HTTP asks for: whatever two readers could understand differently (a line end of
/// one character, a field that goes on in the next line, two lengths, a length beside chunks) is
/// malformed. Methods that are not served, and versions, are a problem here already.
[[nodiscard]] std::variant<RequestHead, RequestProblem> readRequestHead(QByteArrayView head);

} // namespace wingbell
