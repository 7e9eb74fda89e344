#include "relay/web/PlainRequest.h"

#include <algorithm>

namespace wingbell {

namespace {

/// True when `bytes` are, or may become, a text that begins with `word`.
bool mayBe(QByteArrayView bytes, QByteArrayView word)
{
    const qsizetype common = std::min(bytes.size(), word.size());
    return bytes.first(common) == word.first(common);
}

bool isWhole(QByteArrayView bytes)
{
    return bytes.size() >= mostPlainRequestBytes || bytes.contains("\r\n\r\n") ||
           bytes.contains("\n\n");
}

} // namespace

PlainRequest readPlainRequest(QByteArrayView bytes)
{
    const bool isGet = mayBe(bytes, "GET ");
    if (!isGet && !mayBe(bytes, "HEAD ")) {
        return PlainRequest::Other;
    }
    if (!isWhole(bytes)) {
        return PlainRequest::Incomplete;
    }
    return isGet ? PlainRequest::Get : PlainRequest::Head;
}

} // namespace wingbell
