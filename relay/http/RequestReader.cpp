#include "relay/http/RequestReader.h"

#include <algorithm>
#include <utility>

namespace wingbell {

namespace {

RequestError malformed()
{
    return {400, "malformed", HttpError::Malformed};
}

RequestError bodyTooLarge()
{
    return {413, "too-large", HttpError::TooLarge};
}

RequestError headTooLarge()
{
    return {431, "too-large", HttpError::TooLarge};
}

/// True when `bytes` are, or may become, a text that begins with `word`.
bool mayBe(QByteArrayView bytes, QByteArrayView word)
{
    const qsizetype common = std::min(bytes.size(), word.size());
    return bytes.first(common) == word.first(common);
}

bool isWhole(QByteArrayView bytes)
{
    return bytes.size() >= maxPlainRequestBytes || bytes.contains("\r\n\r\n") ||
           bytes.contains("\n\n");
}

} // namespace

RequestReader::RequestReader(std::size_t maxHeadBytes, std::size_t maxBodyBytes)
    : m_maxHeadBytes(maxHeadBytes)
    , m_maxBodyBytes(maxBodyBytes)
{
}

RequestReader::Reading RequestReader::next()
{
    if (!m_head) {
        if (Step error = readHead()) {
            return *error;
        }
    }
    if (!m_head) {
        return std::monostate();
    }
    if (Step error = readBody()) {
        return *error;
    }
    if (!m_isWhole) {
        return std::monostate();
    }
    return takeRequest();
}

bool RequestReader::takeContinue()
{
    return m_head && std::exchange(m_head->expectsContinue, false);
}

RequestReader::Step RequestReader::readHead()
{
    constexpr QByteArrayView emptyLine("\r\n\r\n");
    const qsizetype end = m_bytes.indexOf(emptyLine, m_searched);
    const qsizetype size = end < 0 ? m_bytes.size() : end;
    if (static_cast<std::size_t>(size) > m_maxHeadBytes) {
        return headTooLarge();
    }
    if (end < 0) {
        m_searched = std::max<qsizetype>(0, m_bytes.size() - emptyLine.size() + 1);
        return std::nullopt;
    }
    auto reading = readRequestHead(QByteArrayView(m_bytes).first(end));
    if (const auto* error = std::get_if<RequestError>(&reading)) {
        return *error;
    }
    m_head = std::get<RequestHead>(std::move(reading));
    m_bytes.remove(0, end + emptyLine.size());
    m_searched = 0;
    return std::nullopt;
}

RequestReader::Step RequestReader::readBody()
{
    return m_head->isChunked ? readChunks() : readPlainBody();
}

RequestReader::Step RequestReader::readPlainBody()
{
    const std::uint64_t length = m_head->contentLength.value_or(0);
    if (length > m_maxBodyBytes) {
        return bodyTooLarge();
    }
    if (waiting() < length) {
        return std::nullopt;
    }
    m_body = m_bytes.first(static_cast<qsizetype>(length));
    m_bytes.remove(0, m_body.size());
    m_isWhole = true;
    return std::nullopt;
}

RequestReader::Step RequestReader::readChunks()
{
    while (!m_isWhole) {
        if (m_chunks == Chunks::Data) {
            if (!takeChunkData()) {
                return std::nullopt;
            }
            continue;
        }
        // A size, the end of a chunk and the last line are all shorter than this.
        constexpr qsizetype maxLineBytes = 10;
        const auto line = takeLine();
        if (!line) {
            return m_bytes.size() > maxLineBytes ? Step(malformed()) : std::nullopt;
        }
        if (m_chunks == Chunks::Size) {
            if (Step error = readChunkSize(*line)) {
                return error;
            }
            continue;
        }
        if (!line->isEmpty()) {
            return malformed();
        }
        m_isWhole = m_chunks == Chunks::End;
        m_chunks = Chunks::Size;
    }
    return std::nullopt;
}

RequestReader::Step RequestReader::readChunkSize(QByteArrayView line)
{
    constexpr qsizetype maxDigits = 8;
    const auto isHexDigit = [](char character) {
        return QByteArrayView("0123456789abcdefABCDEF").contains(character);
    };
    if (line.isEmpty() || line.size() > maxDigits ||
        !std::all_of(line.begin(), line.end(), isHexDigit)) {
        return malformed();
    }
    m_chunkLeft = line.toByteArray().toUInt(nullptr, 16);
    if (m_chunkLeft > m_maxBodyBytes - static_cast<std::size_t>(m_body.size())) {
        return bodyTooLarge();
    }
    m_chunks = m_chunkLeft == 0 ? Chunks::End : Chunks::Data;
    return std::nullopt;
}

/// True when the chunk is complete.
bool RequestReader::takeChunkData()
{
    const auto taken = static_cast<qsizetype>(std::min(m_chunkLeft, waiting()));
    m_body.append(QByteArrayView(m_bytes).first(taken));
    m_bytes.remove(0, taken);
    m_chunkLeft -= static_cast<std::size_t>(taken);
    if (m_chunkLeft > 0) {
        return false;
    }
    m_chunks = Chunks::DataEnd;
    return true;
}

std::optional<QByteArray> RequestReader::takeLine()
{
    const qsizetype end = m_bytes.indexOf("\r\n");
    if (end < 0) {
        return std::nullopt;
    }
    QByteArray line = m_bytes.first(end);
    m_bytes.remove(0, end + 2);
    return line;
}

HttpRequest RequestReader::takeRequest()
{
    HttpRequest request{std::move(*m_head), std::move(m_body), {}};
    m_head.reset();
    m_body = QByteArray();
    m_isWhole = false;
    if (m_bytes.isEmpty()) {
        m_bytes = QByteArray(); // gives back the room that a large body took
    }
    return request;
}

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
