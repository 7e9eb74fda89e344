#pragma once

#include "relay/web/RequestHead.h"
#include "relay/web/RequestProblem.h"

#include <QByteArray>
#include <QByteArrayView>

#include <cstddef>
#include <optional>
#include <variant>

namespace wingbell {

/// Makes requests of the bytes that come over a connection, in whatever pieces. Holds no more than
/// one request within its limits, and what was appended behind it.
class RequestReader
{
public:
    struct Request
    {
        RequestHead head;
        QByteArray body;

        friend bool operator==(const Request&, const Request&) = default;
    };

    /// Nothing: more bytes are needed. After a problem nothing can be read any more: nobody
    /// knows where the next request would begin.
    using Reading = std::variant<std::monostate, Request, RequestProblem>;

    RequestReader(std::size_t mostHeadBytes, std::size_t mostBodyBytes);

    void append(QByteArrayView bytes) { m_bytes.append(bytes); }

    /// The next request that is whole, taken off what was appended.
    [[nodiscard]] Reading next();

    /// True when a part of a request is there.
    [[nodiscard]] bool hasBegun() const { return m_head.has_value() || !m_bytes.isEmpty(); }

    /// How many bytes wait to be read.
    [[nodiscard]] std::size_t waiting() const { return static_cast<std::size_t>(m_bytes.size()); }

    /// True, once a request, when its sender waits to be told to go on with the body.
    [[nodiscard]] bool takeContinue();

private:
    using Step = std::optional<RequestProblem>;

    [[nodiscard]] Step readHead();
    [[nodiscard]] Step readBody();
    [[nodiscard]] Step readPlainBody();
    [[nodiscard]] Step readChunks();
    [[nodiscard]] Step readChunkSize(QByteArrayView line);
    [[nodiscard]] bool takeChunkData();
    [[nodiscard]] std::optional<QByteArray> takeLine();
    [[nodiscard]] Request takeRequest();

    enum class Chunks { Size, Data, DataEnd, End };

    std::size_t m_mostHeadBytes;
    std::size_t m_mostBodyBytes;
    QByteArray m_bytes;
    qsizetype m_searched = 0; ///< so many of m_bytes hold no empty line
    std::optional<RequestHead> m_head;
    QByteArray m_body;
    bool m_isWhole = false;
    Chunks m_chunks = Chunks::Size;
    std::size_t m_chunkLeft = 0;
};

} // namespace wingbell
