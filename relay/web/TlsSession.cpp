#include "relay/web/TlsSession.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <new>

namespace wingbell {

namespace {

/// True when the other side said what it did not like; OpenSSL numbers these errors so.
bool isAlert(unsigned long error)
{
    return ERR_GET_REASON(error) >= SSL_AD_REASON_OFFSET;
}

} // namespace

TlsSession::TlsSession(const TlsIdentity& identity)
    : m_ssl(SSL_new(identity.context()), SSL_free)
{
    if (!m_ssl) {
        throw std::bad_alloc();
    }
    SSL_set_bio(m_ssl.get(), BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
    SSL_set_accept_state(m_ssl.get());
}

void TlsSession::receive(QByteArrayView bytes)
{
    BIO_write(SSL_get_rbio(m_ssl.get()), bytes.data(), static_cast<int>(bytes.size()));
    if (m_state == State::Handshake) {
        shakeHands();
    }
}

void TlsSession::shakeHands()
{
    ERR_clear_error();
    const int result = SSL_do_handshake(m_ssl.get());
    if (result == 1) {
        m_state = State::Open;
    } else {
        note(result);
    }
}

QByteArray TlsSession::read(qsizetype most)
{
    if (m_state != State::Open) {
        return {};
    }
    ERR_clear_error();
    QByteArray bytes(most, Qt::Uninitialized);
    const int result = SSL_read(m_ssl.get(), bytes.data(), static_cast<int>(most));
    if (result <= 0) {
        note(result);
        return {};
    }
    bytes.truncate(result);
    return bytes;
}

void TlsSession::write(QByteArrayView bytes)
{
    if (m_state != State::Open) {
        return;
    }
    ERR_clear_error();
    const int result = SSL_write(m_ssl.get(), bytes.data(), static_cast<int>(bytes.size()));
    if (result <= 0) {
        note(result);
    }
}

void TlsSession::end()
{
    if (m_state == State::Open || m_state == State::Ended) {
        ERR_clear_error();
        SSL_shutdown(m_ssl.get());
        ERR_clear_error();
    }
}

QByteArray TlsSession::takeOutgoing()
{
    BIO* outgoing = SSL_get_wbio(m_ssl.get());
    QByteArray bytes(static_cast<qsizetype>(BIO_ctrl_pending(outgoing)), Qt::Uninitialized);
    if (!bytes.isEmpty()) {
        BIO_read(outgoing, bytes.data(), static_cast<int>(bytes.size()));
    }
    return bytes;
}

/// Looks at why a call did not succeed.
void TlsSession::note(int result)
{
    switch (SSL_get_error(m_ssl.get(), result)) {
    case SSL_ERROR_WANT_READ:
    case SSL_ERROR_WANT_WRITE:
        return;
    case SSL_ERROR_ZERO_RETURN:
        m_state = State::Ended;
        return;
    default:
        m_state = isAlert(ERR_peek_error()) ? State::Aborted : State::Broken;
    }
    ERR_clear_error();
}

} // namespace wingbell
