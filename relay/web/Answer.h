#pragma once

#include "relay/web/WebHeaders.h"

#include <QByteArray>

namespace wingbell {

/// What a request is answered with.
struct Answer
{
    int status = 500;
    WebHeaders headers;
    QByteArray body;
};

/// How a browser knows where an answer's body ends.
enum class Framing {
    Length,
    Chunks,
    ConnectionsEnd,
};

/// The lines before the body, the empty one included. A header that would begin a line of its own
/// making is left out.
[[nodiscard]] QByteArray answerHead(const Answer& answer, Framing framing, bool keepsConnection);

/// `bytes` as one chunk of a body; none is the body's end.
[[nodiscard]] QByteArray chunk(const QByteArray& bytes);

/// An error for the page: {"error":"word"}. `word` is plain text without quotes.
[[nodiscard]] Answer
errorAnswer(int status, const QByteArray& word, const WebHeaders& headers = {});

} // namespace wingbell
