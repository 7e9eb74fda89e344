#include "relay/web/RequestReader.h"

#include <algorithm>
#include <utility>

namespace wingbell {

namespace {

RequestProblem malformed()
{
    return {400, "malformed", WebRefusal::Malformed};
}

RequestProblem bodyTooLarge()
{
    return {413, "too-large", WebRefusal::TooLarge};
}

RequestProblem headTooLarge()
{
    return {431, "too-large", WebRefusal::TooLarge};
}

} // namespace

RequestReader::RequestReader(std::size_t mostHeadBytes, std::size_t mostBodyBytes)
    : m_mostHeadBytes(mostHeadBytes)
    , m_mostBodyBytes(mostBodyBytes)
{
}

RequestReader::Reading RequestReader::next()
{
    if (!m_head) {
        if (Step problem = readHead()) {
            return *problem;
        }
    }
    if (!m_head) {
        return std::monostate();
    }
    if (Step problem = readBody()) {
        return *problem;
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
    if (static_cast<std::size_t>(size) > m_mostHeadBytes) {
        return headTooLarge();
    }
    if (end < 0) {
        m_searched = std::max<qsizetype>(0, m_bytes.size() - emptyLine.size() + 1);
        return std::nullopt;
    }
    auto reading = readRequestHead(QByteArrayView(m_bytes).first(end));
    if (const auto* problem = std::get_if<RequestProblem>(&reading)) {
        return *problem;
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
    if (length > m_mostBodyBytes) {
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
        constexpr qsizetype longestLine = 10;
        const auto line = takeLine();
        if (!line) {
            return m_bytes.size() > longestLine ? Step(malformed()) : std::nullopt;
        }
        if (m_chunks == Chunks::Size) {
            if (Step problem = readChunkSize(*line)) {
                return problem;
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
    constexpr qsizetype mostDigits = 8;
    const auto isHexDigit = [](char character) {
        return QByteArrayView("0123456789abcdefABCDEF").contains(character);
    };
    if (line.isEmpty() || line.size() > mostDigits ||
        !std::all_of(line.begin(), line.end(), isHexDigit)) {
        return malformed();
    }
    m_chunkLeft = line.toByteArray().toUInt(nullptr, 16);
    if (m_chunkLeft > m_mostBodyBytes - static_cast<std::size_t>(m_body.size())) {
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

RequestReader::Request RequestReader::takeRequest()
{
    Request request{std::move(*m_head), std::move(m_body)};
    m_head.reset();
    m_body = QByteArray();
    m_isWhole = false;
    if (m_bytes.isEmpty()) {
        m_bytes = QByteArray(); // gives back the room that a large body took
    }
    return request;
}

} // namespace wingbell
