#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

using SSL_CTX = struct ssl_ctx_st;

namespace wingbell {

/// Who this server is to a browser: its certificate and private key, and how it speaks TLS: 1.2 or
/// later, authenticated encryption only, HTTP/1.1 inside, no renegotiation. Copies share one.
class TlsIdentity
{
public:
    /// The identity, or, where it is missing, what is wrong with the text.
    struct Reading;

    /// Reads certificate (further ones of its chain behind it) and private key from PEM text. A
    /// key under a passphrase is refused: nobody is there to be asked.
    [[nodiscard]] static Reading fromPem(const QByteArray& pem);

    [[nodiscard]] SSL_CTX* context() const { return m_context.get(); }

private:
    explicit TlsIdentity(std::shared_ptr<SSL_CTX> context);

    std::shared_ptr<SSL_CTX> m_context;
};

struct TlsIdentity::Reading
{
    std::shared_ptr<TlsIdentity> identity;
    QString error; ///< for a person; a clause without a capital or a full stop
};

} // namespace wingbell
