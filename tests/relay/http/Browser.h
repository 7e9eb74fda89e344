#pragma once

#include "base/FileDescriptor.h"

#include <QByteArray>

#include <memory>
#include <openssl/ssl.h>

namespace wingbell {

/// A client over the loopback that does what a test says, right or wrong. Never waits: work() does
/// what can be done, and the questions below do it first.
class Browser
{
public:
    /// Connects to `port` of 127.0.0.1, from `address`.
    explicit Browser(quint16 port, const char* address = "127.0.0.1");

    /// Speaks TLS from now on, `newestVersion` at most.
    void secure(int newestVersion = TLS1_3_VERSION);

    /// Of TLS 1.2, offers this cipher alone. False if there is no such cipher.
    [[nodiscard]] bool offerCipher(const char* name);

    /// Asks for another handshake inside TLS 1.2. False if that is impossible here already.
    [[nodiscard]] bool renegotiate();

    /// True if the server asked for a certificate of the client.
    [[nodiscard]] bool isAskedForCertificate() const { return *m_isAsked; }

    /// Refuses the server's certificate, which signs itself.
    void verifyServer();

    /// What a browser says first in TLS, for those who say no more.
    [[nodiscard]] static QByteArray firstWord();

    void send(const QByteArray& bytes) { m_toSend.append(bytes); }

    /// Goes past TLS.
    void sendRaw(const QByteArray& bytes);

    /// From now on nothing is read, and little is kept by the system.
    void stopReading();
    void readAgain() { m_reads = true; }

    /// Says that it sends nothing more, once everything is sent, and goes on listening.
    void endSending() { m_ends = true; }

    /// Goes without a word.
    void close() { m_descriptor = FileDescriptor(); }

    /// Goes so that the other side is told of an error.
    void reset();

    void work();

    [[nodiscard]] const QByteArray& received();
    /// True when the server has closed its side, in whatever way.
    [[nodiscard]] bool hasEnded();
    [[nodiscard]] bool hasSent();
    /// In bytes: what the system has not taken yet.
    [[nodiscard]] qsizetype unsent() const { return m_toSend.size(); }
    [[nodiscard]] bool isSecure();
    /// The protocol inside, where one was agreed on.
    [[nodiscard]] QByteArray protocol() const;

private:
    void write();
    void read();
    void shut();
    [[nodiscard]] qsizetype writeSome();
    [[nodiscard]] qsizetype readSome(char* bytes, int size);

    FileDescriptor m_descriptor;
    std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> m_context{nullptr, SSL_CTX_free};
    std::unique_ptr<SSL, void (*)(SSL*)> m_tls{nullptr, SSL_free};
    std::unique_ptr<bool> m_isAsked = std::make_unique<bool>(false);
    QByteArray m_toSend;
    QByteArray m_received;
    bool m_reads = true;
    bool m_ends = false;
    bool m_hasShut = false;
    bool m_hasEnded = false;
};

} // namespace wingbell
