#pragma once

#include "relay/web/TlsIdentity.h"

#include <QByteArray>
#include <QByteArrayView>

#include <memory>

using SSL = struct ssl_st;

namespace wingbell {

/// The server's side of one TLS connection, between buffers: knows no socket, never waits, starts
/// no thread.
class TlsSession
{
public:
    enum class State {
        Handshake,
        Open,
        Ended,   ///< the other side said that nothing more comes
        Aborted, ///< by the other side, as a browser does that rejects the certificate
        Broken,  ///< what came is no TLS
    };

    explicit TlsSession(const TlsIdentity& identity);

    /// Takes what came over the network, a piece at a time: read() until it has nothing before
    /// the next one, so that what is kept here stays small.
    void receive(QByteArrayView bytes);

    /// The next bytes the browser sent, at most `most`; none when more has to come, or nothing
    /// will.
    [[nodiscard]] QByteArray read(qsizetype most);

    /// Encrypts `bytes`, which are at most `mostBytesAtOnce`. Only while open.
    void write(QByteArrayView bytes);

    /// Says that nothing more will be written.
    void end();

    /// What is to go over the network, taken: after each of the calls above.
    [[nodiscard]] QByteArray takeOutgoing();

    [[nodiscard]] State state() const { return m_state; }

    /// What one record holds.
    static constexpr qsizetype mostBytesAtOnce = 16384;

private:
    void shakeHands();
    void note(int result);

    std::unique_ptr<SSL, void (*)(SSL*)> m_ssl;
    State m_state = State::Handshake;
};

} // namespace wingbell
