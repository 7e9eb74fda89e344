#include "relay/web/TlsIdentity.h"

#include <QByteArrayView>

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>

namespace wingbell {

namespace {

template <auto release> struct Releasing
{
    template <typename Type> void operator()(Type* object) const { release(object); }
};

using Bio = std::unique_ptr<BIO, Releasing<BIO_free>>;
using Certificate = std::unique_ptr<X509, Releasing<X509_free>>;
using Key = std::unique_ptr<EVP_PKEY, Releasing<EVP_PKEY_free>>;

Bio reading(const QByteArray& text)
{
    return Bio(BIO_new_mem_buf(text.constData(), static_cast<int>(text.size())));
}

/// In place of OpenSSL's own, which would ask at the terminal.
int noPassphrase(char*, int, int, void*)
{
    return -1;
}

bool useCertificates(SSL_CTX* context, const QByteArray& pem)
{
    const Bio text = reading(pem);
    const Certificate own(PEM_read_bio_X509(text.get(), nullptr, noPassphrase, nullptr));
    if (!own || SSL_CTX_use_certificate(context, own.get()) != 1) {
        return false;
    }
    while (Certificate next{PEM_read_bio_X509(text.get(), nullptr, noPassphrase, nullptr)}) {
        if (SSL_CTX_add1_chain_cert(context, next.get()) != 1) {
            return false;
        }
    }
    return true;
}

bool useKey(SSL_CTX* context, const QByteArray& pem)
{
    const Bio text = reading(pem);
    const Key key(PEM_read_bio_PrivateKey(text.get(), nullptr, noPassphrase, nullptr));
    return key && SSL_CTX_use_PrivateKey(context, key.get()) == 1;
}

/// Takes HTTP/1.1 of what a browser offers; of a list without it, nothing.
int chooseProtocol(
    SSL*, const unsigned char** chosen, unsigned char* chosenSize, const unsigned char* offered,
    unsigned int offeredSize, void*)
{
    constexpr QByteArrayView http("http/1.1");
    for (unsigned int at = 0; at < offeredSize; at += 1U + offered[at]) {
        const QByteArrayView name(offered + at + 1, offered[at]);
        if (name == http) {
            *chosen = offered + at + 1;
            *chosenSize = offered[at];
            return SSL_TLSEXT_ERR_OK;
        }
    }
    return SSL_TLSEXT_ERR_NOACK;
}

void setManners(SSL_CTX* context)
{
    SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
    // Of TLS 1.2 only authenticated encryption (AEAD); 1.3 has no other.
    (void)SSL_CTX_set_cipher_list(context, "ECDHE+AESGCM:ECDHE+CHACHA20");
    SSL_CTX_set_options(
        context, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION | SSL_OP_CIPHER_SERVER_PREFERENCE);
    // An idle connection keeps no buffers.
    SSL_CTX_set_mode(context, SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    // A browser keeps what it needs to come back in a ticket; here nothing is kept for strangers.
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_alpn_select_cb(context, chooseProtocol, nullptr);
}

TlsIdentity::Reading failed(const QString& error)
{
    ERR_clear_error();
    return {nullptr, error};
}

} // namespace

TlsIdentity::TlsIdentity(std::shared_ptr<SSL_CTX> context)
    : m_context(std::move(context))
{
}

TlsIdentity::Reading TlsIdentity::fromPem(const QByteArray& pem)
{
    ERR_clear_error();
    std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    if (!context) {
        return failed(QStringLiteral("TLS cannot be set up"));
    }
    setManners(context.get());
    if (!useCertificates(context.get(), pem)) {
        return failed(QStringLiteral("there is no usable certificate in it"));
    }
    if (!useKey(context.get(), pem)) {
        return failed(QStringLiteral("there is no usable private key for the certificate in it"));
    }
    if (SSL_CTX_check_private_key(context.get()) != 1) {
        return failed(QStringLiteral("the private key is not the certificate's"));
    }
    ERR_clear_error(); // reading past the last certificate left an error behind
    return {std::shared_ptr<TlsIdentity>(new TlsIdentity(std::move(context))), {}};
}

} // namespace wingbell
