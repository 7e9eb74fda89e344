#pragma once

#include "relay/link/SrtpSession.h"

#include <QByteArray>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <span>

struct ssl_st;
struct ssl_ctx_st;

namespace wingbell {

/// The certificate for this run of the server and how it speaks DTLS (RFC 5763). Outlives its
/// connections.
class DtlsContext
{
public:
    /// A new key and certificate. Returns nullptr when OpenSSL fails, which takes a lack of memory.
    [[nodiscard]] static std::unique_ptr<DtlsContext> make();
    ~DtlsContext();
    DtlsContext(const DtlsContext&) = delete;
    DtlsContext& operator=(const DtlsContext&) = delete;

    /// The SHA-256 of the certificate: 32 pairs, "3F:07:...:A0".
    [[nodiscard]] const QByteArray& fingerprint() const { return m_fingerprint; }

private:
    friend class DtlsConnection;
    DtlsContext() = default;

    ssl_ctx_st* m_context = nullptr;
    QByteArray m_fingerprint;
};

/// The DTLS handshake with one peer, which proves the peer's certificate and makes the keys for
/// SRTP. Not thread-safe; allocates.
class DtlsConnection
{
public:
    enum class State {
        Handshaking,
        Connected,
        Forged, ///< the peer has another certificate than its answer promised
        Closed, ///< by the peer, or the handshake failed
    };

    /// Sends one datagram to the peer.
    using Send = std::function<void(std::span<const std::uint8_t> datagram)>;

    /// Borrows `context`. Does nothing before begin().
    DtlsConnection(const DtlsContext& context, Send send);
    ~DtlsConnection();
    DtlsConnection(const DtlsConnection&) = delete;
    DtlsConnection& operator=(const DtlsConnection&) = delete;

    /// Shakes hands from now on, with the peer whose certificate has `fingerprint` alone.
    /// `isServer`: the peer begins. Once only.
    void begin(const QByteArray& fingerprint, bool isServer);

    /// Takes a datagram of the peer. Of those that come before begin() the last is kept: the
    /// browser's first message can be faster than its answer. Any bytes are safe.
    void take(std::span<const std::uint8_t> datagram);

    /// When handleTimeout() is to be called at the latest; nullopt while there is nothing to wait
    /// for. Changes with every other call.
    [[nodiscard]] std::optional<std::chrono::milliseconds> timeout() const;

    /// Sends the last messages again if it is time for that.
    void handleTimeout();

    [[nodiscard]] State state() const { return m_state; }

    /// The keys of a connected one.
    [[nodiscard]] std::optional<SrtpKeys> srtpKeys() const;

    /// Says goodbye to the peer (close_notify).
    void close();

private:
    friend class DtlsContext;
    struct Callbacks;

    void advance();

    Send m_send;
    ssl_st* m_connection = nullptr;
    QByteArray m_fingerprint;
    QByteArray m_incoming; ///< the datagram that is being read
    QByteArray m_early;
    bool m_hasBegun = false;
    bool m_isServer = true;
    State m_state = State::Handshaking;
};

} // namespace wingbell
