#pragma once

#include "relay/http/HttpRequest.h"

#include <QByteArray>
#include <QByteArrayView>

#include <cstddef>
#include <optional>

namespace wingbell {

/// Makes requests of the bytes that come over a connection, in whatever pieces. Holds no more than
/// one request within its limits, and what was appended behind it.
class RequestReader
{
public:
    /// nullopt: more bytes are needed. After an error nothing more can be read: where the next
    /// request begins is unknown.
    using Reading = Result<std::optional<HttpRequest>, RequestError>;

    RequestReader(std::size_t maxHeadBytes, std::size_t maxBodyBytes);

    void append(QByteArrayView bytes) { m_bytes.append(bytes); }

    /// The next request that is whole, taken off what was appended.
    [[nodiscard]] Reading next();

    /// True when a part of a request is there.
    [[nodiscard]] bool hasBegun() const { return m_request.has_value() || !m_bytes.isEmpty(); }

    /// True, once a request, when its sender waits to be told to go on with the body.
    [[nodiscard]] bool takeContinue();

private:
    // Each returns false while more bytes are needed.
    [[nodiscard]] Result<bool, RequestError> readHead();
    [[nodiscard]] Result<bool, RequestError> readBody();
    [[nodiscard]] Result<bool, RequestError> readChunks();

    std::size_t m_maxHeadBytes;
    std::size_t m_maxBodyBytes;
    QByteArray m_bytes;
    qsizetype m_searched = 0;             ///< so many of m_bytes hold no empty line
    std::optional<HttpRequest> m_request; ///< its head is read, its body is being read
};

/// What comes over a connection that did not begin with TLS.
enum class PlainRequest {
    Incomplete,
    Get,
    Head,
    Osc,   ///< as OSC over TCP begins: with a length, or as SLIP
    Other, ///< not a request for a page
};

/// In bytes: what is read of a plain request at most.
inline constexpr qsizetype maxPlainRequestBytes = 4096;

/// Looks at the method of what came, or at what stands there instead.
[[nodiscard]] PlainRequest readPlainRequest(QByteArrayView bytes);

/// The path that a plain GET or HEAD asks for, without its query.
[[nodiscard]] QByteArray plainRequestPath(QByteArrayView bytes);

} // namespace wingbell
