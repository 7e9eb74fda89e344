#pragma once

#include "relay/http/RequestHead.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QHostAddress>

#include <cstddef>
#include <optional>
#include <variant>

namespace wingbell {

/// A whole request, within the server's limits.
struct HttpRequest
{
    RequestHead head;
    QByteArray body;
    QHostAddress peer; ///< who sent it
};

/// Makes requests of the bytes that come over a connection, in whatever pieces. Holds no more than
/// one request within its limits, and what was appended behind it.
class RequestReader
{
public:
    /// monostate: more bytes are needed. After an error nothing more can be read: where the next
    /// request begins is unknown.
    using Reading = std::variant<std::monostate, HttpRequest, RequestError>;

    RequestReader(std::size_t maxHeadBytes, std::size_t maxBodyBytes);

    void append(QByteArrayView bytes) { m_bytes.append(bytes); }

    /// The next request that is whole, taken off what was appended.
    [[nodiscard]] Reading next();

    /// True when a part of a request is there.
    [[nodiscard]] bool hasBegun() const { return m_head.has_value() || !m_bytes.isEmpty(); }

    /// In bytes: how much waits to be read.
    [[nodiscard]] std::size_t waiting() const { return static_cast<std::size_t>(m_bytes.size()); }

    /// True, once a request, when its sender waits to be told to go on with the body.
    [[nodiscard]] bool takeContinue();

private:
    using Step = std::optional<RequestError>;

    [[nodiscard]] Step readHead();
    [[nodiscard]] Step readBody();
    [[nodiscard]] Step readPlainBody();
    [[nodiscard]] Step readChunks();
    [[nodiscard]] Step readChunkSize(QByteArrayView line);
    [[nodiscard]] bool takeChunkData();
    [[nodiscard]] std::optional<QByteArray> takeLine();
    [[nodiscard]] HttpRequest takeRequest();

    enum class Chunks { Size, Data, DataEnd, End };

    std::size_t m_maxHeadBytes;
    std::size_t m_maxBodyBytes;
    QByteArray m_bytes;
    qsizetype m_searched = 0; ///< so many of m_bytes hold no empty line
    std::optional<RequestHead> m_head;
    QByteArray m_body;
    bool m_isWhole = false;
    Chunks m_chunks = Chunks::Size;
    std::size_t m_chunkLeft = 0;
};

/// What comes over a connection that did not begin with TLS.
enum class PlainRequest {
    Incomplete,
    Get,
    Head,
    Other, ///< not a request for a page
};

/// In bytes: what is read of a plain request at most.
inline constexpr qsizetype maxPlainRequestBytes = 4096;

/// Looks at the beginning of what came. Only the method matters: the response is always the same.
[[nodiscard]] PlainRequest readPlainRequest(QByteArrayView bytes);

} // namespace wingbell
