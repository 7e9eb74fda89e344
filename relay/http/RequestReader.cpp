#include "relay/http/RequestReader.h"

#include <algorithm>
#include <utility>

namespace wingbell {

namespace {

constexpr QByteArrayView lineEnd("\r\n");
constexpr QByteArrayView emptyLine("\r\n\r\n");

tl::unexpected<RequestError> malformed()
{
    return failure(RequestError{400, "malformed", HttpError::Malformed});
}

tl::unexpected<RequestError> tooLarge(int status)
{
    return failure(RequestError{status, "too-large", HttpError::TooLarge});
}

bool isHexadecimal(QByteArrayView text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](char character) {
        return QByteArrayView("0123456789abcdefABCDEF").contains(character);
    });
}

/// True when `bytes` are, or may become, a text that begins with `word`.
bool mayBeginWith(QByteArrayView bytes, QByteArrayView word)
{
    return bytes.startsWith(word) || word.startsWith(bytes);
}

/// Osc for a message or a bundle as a cue player sends it over TCP: after its length in four bytes
/// (OSC 1.0), or between two bytes of SLIP (OSC 1.1).
PlainRequest readOscOverTcp(QByteArrayView bytes)
{
    constexpr QByteArrayView slip("\xc0", 1);
    constexpr QByteArrayView lessThan64KiB("\0\0", 2);
    const qsizetype header = bytes.startsWith(slip) ? slip.size() : qsizetype{4};
    if (!mayBeginWith(bytes, slip) && !mayBeginWith(bytes, lessThan64KiB)) {
        return PlainRequest::Other;
    }
    if (bytes.size() <= header) {
        return PlainRequest::Incomplete;
    }
    const char first = bytes.at(header);
    return first == '/' || first == '#' ? PlainRequest::Osc : PlainRequest::Other;
}

} // namespace

RequestReader::RequestReader(std::size_t maxHeadBytes, std::size_t maxBodyBytes)
    : m_maxHeadBytes(maxHeadBytes)
    , m_maxBodyBytes(maxBodyBytes)
{
}

RequestReader::Reading RequestReader::next()
{
    Result<bool, RequestError> isWhole = true;
    if (!m_request) {
        isWhole = readHead();
    }
    if (isWhole && *isWhole) {
        isWhole = m_request->isChunked ? readChunks() : readBody();
    }
    if (!isWhole) {
        return failure(isWhole.error());
    }
    if (!*isWhole) {
        return std::nullopt;
    }
    if (m_bytes.isEmpty()) {
        m_bytes = QByteArray(); // gives back the room that a large body took
    }
    return std::exchange(m_request, std::nullopt);
}

bool RequestReader::takeContinue()
{
    return m_request && std::exchange(m_request->expectsContinue, false);
}

Result<bool, RequestError> RequestReader::readHead()
{
    const qsizetype end = m_bytes.indexOf(emptyLine, m_searched);
    const qsizetype size = end < 0 ? m_bytes.size() : end;
    if (static_cast<std::size_t>(size) > m_maxHeadBytes) {
        return tooLarge(431);
    }
    if (end < 0) {
        m_searched = std::max<qsizetype>(0, m_bytes.size() - emptyLine.size() + 1);
        return false;
    }
    auto head = readRequestHead(QByteArrayView(m_bytes).first(end));
    if (!head) {
        return failure(head.error());
    }
    m_request = *std::move(head);
    m_bytes.remove(0, end + emptyLine.size());
    m_searched = 0;
    return true;
}

Result<bool, RequestError> RequestReader::readBody()
{
    if (m_request->contentLength > m_maxBodyBytes) {
        return tooLarge(413);
    }
    const auto length = static_cast<qsizetype>(m_request->contentLength);
    if (m_bytes.size() < length) {
        return false;
    }
    m_request->body = m_bytes.first(length);
    m_bytes.remove(0, length);
    return true;
}

/// Chunked transfer coding, without extensions and trailers. A chunk is its size in hexadecimal
/// digits, a line end, the data, a line end; one without data ends the body.
Result<bool, RequestError> RequestReader::readChunks()
{
    constexpr qsizetype maxDigits = 8;
    for (;;) {
        const QByteArray line = m_bytes.first(std::min(m_bytes.size(), maxDigits + lineEnd.size()));
        const qsizetype digits = line.indexOf(lineEnd);
        if (digits < 0 && line.size() < maxDigits + lineEnd.size()) {
            return false;
        }
        if (digits < 0 || !isHexadecimal(line.first(digits))) {
            return malformed();
        }
        const qsizetype size = line.first(digits).toUInt(nullptr, 16);
        if (static_cast<std::size_t>(m_request->body.size() + size) > m_maxBodyBytes) {
            return tooLarge(413);
        }
        const qsizetype begin = digits + lineEnd.size();
        if (m_bytes.size() < begin + size + lineEnd.size()) {
            return false;
        }
        if (QByteArrayView(m_bytes).sliced(begin + size, lineEnd.size()) != lineEnd) {
            return malformed();
        }
        m_request->body.append(QByteArrayView(m_bytes).sliced(begin, size));
        m_bytes.remove(0, begin + size + lineEnd.size());
        if (size == 0) {
            return true;
        }
    }
}

PlainRequest readPlainRequest(QByteArrayView bytes)
{
    const bool isGet = mayBeginWith(bytes, "GET ");
    if (!isGet && !mayBeginWith(bytes, "HEAD ")) {
        return readOscOverTcp(bytes);
    }
    if (bytes.size() < maxPlainRequestBytes && !bytes.contains(emptyLine) &&
        !bytes.contains("\n\n")) {
        return PlainRequest::Incomplete;
    }
    return isGet ? PlainRequest::Get : PlainRequest::Head;
}

QByteArray plainRequestPath(QByteArrayView bytes)
{
    const QByteArray line = bytes.first(std::max(bytes.indexOf('\n'), qsizetype{0})).toByteArray();
    return line.simplified().split(' ').value(1).split('?').constFirst();
}

} // namespace wingbell
