#include "Browser.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <netinet/in.h>
#include <openssl/err.h>
#include <sys/socket.h>

namespace wingbell {

namespace {

constexpr int littleRoom = 4096;

sockaddr_in loopback(const char* address, quint16 port)
{
    sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    ::inet_pton(AF_INET, address, &result.sin_addr);
    return result;
}

/// Called when the server asks for the client's certificate. There is none.
int noteAsked(SSL* tls, X509** /*certificate*/, EVP_PKEY** /*key*/)
{
    *static_cast<bool*>(SSL_get_app_data(tls)) = true;
    return 0;
}

const unsigned char offered[] = "\x02h2\x08http/1.1";

} // namespace

Browser::Browser(quint16 port, const char* address)
    : m_descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    std::signal(SIGPIPE, SIG_IGN); // OpenSSL writes as to a file
    const sockaddr_in own = loopback(address, 0);
    (void)::bind(m_descriptor.get(), reinterpret_cast<const sockaddr*>(&own), sizeof own);
    const sockaddr_in server = loopback("127.0.0.1", port);
    (void)::connect(m_descriptor.get(), reinterpret_cast<const sockaddr*>(&server), sizeof server);
}

void Browser::secure(int newestVersion)
{
    m_context.reset(SSL_CTX_new(TLS_client_method()));
    SSL_CTX_set_min_proto_version(m_context.get(), TLS1_VERSION);
    SSL_CTX_set_max_proto_version(m_context.get(), newestVersion);
    SSL_CTX_set_security_level(m_context.get(), 0);
    SSL_CTX_set_alpn_protos(m_context.get(), offered, sizeof offered - 1);
    SSL_CTX_set_mode(
        m_context.get(), SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER | SSL_MODE_ENABLE_PARTIAL_WRITE);
    SSL_CTX_set_client_cert_cb(m_context.get(), noteAsked);
    m_tls.reset(SSL_new(m_context.get()));
    SSL_set_app_data(m_tls.get(), m_isAsked.get());
    SSL_set_fd(m_tls.get(), m_descriptor.get());
    SSL_set_connect_state(m_tls.get());
}

bool Browser::offerCipher(const char* name)
{
    return SSL_set_cipher_list(m_tls.get(), name) == 1;
}

bool Browser::renegotiate()
{
    return SSL_renegotiate(m_tls.get()) == 1;
}

void Browser::verifyServer()
{
    SSL_set_verify(m_tls.get(), SSL_VERIFY_PEER, nullptr);
}

QByteArray Browser::firstWord()
{
    const std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context(
        SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
    const std::unique_ptr<SSL, void (*)(SSL*)> tls(SSL_new(context.get()), SSL_free);
    BIO* out = BIO_new(BIO_s_mem());
    SSL_set_bio(tls.get(), BIO_new(BIO_s_mem()), out);
    SSL_connect(tls.get());
    QByteArray word(static_cast<qsizetype>(BIO_ctrl_pending(out)), Qt::Uninitialized);
    BIO_read(out, word.data(), static_cast<int>(word.size()));
    ERR_clear_error();
    return word;
}

void Browser::sendRaw(const QByteArray& bytes)
{
    (void)::send(
        m_descriptor.get(), bytes.constData(), static_cast<std::size_t>(bytes.size()),
        MSG_NOSIGNAL);
}

void Browser::stopReading()
{
    m_reads = false;
    ::setsockopt(m_descriptor.get(), SOL_SOCKET, SO_RCVBUF, &littleRoom, sizeof littleRoom);
}

void Browser::reset()
{
    const linger atOnce = {1, 0};
    ::setsockopt(m_descriptor.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    close();
}

void Browser::work()
{
    if (!m_descriptor.isOpen()) {
        return;
    }
    if (m_tls) {
        ERR_clear_error();
        SSL_do_handshake(m_tls.get());
    }
    write();
    if (m_reads) {
        read();
    }
    if (m_ends && m_toSend.isEmpty()) {
        shut();
    }
}

const QByteArray& Browser::received()
{
    work();
    return m_received;
}

bool Browser::hasEnded()
{
    work();
    return m_hasEnded;
}

bool Browser::hasSent()
{
    work();
    return m_toSend.isEmpty();
}

bool Browser::isSecure()
{
    work();
    return m_tls && SSL_is_init_finished(m_tls.get()) == 1;
}

QByteArray Browser::protocol() const
{
    const unsigned char* name = nullptr;
    unsigned int size = 0;
    SSL_get0_alpn_selected(m_tls.get(), &name, &size);
    return {reinterpret_cast<const char*>(name), static_cast<qsizetype>(size)};
}

void Browser::write()
{
    while (!m_toSend.isEmpty()) {
        const qsizetype count = writeSome();
        if (count <= 0) {
            return;
        }
        m_toSend.remove(0, count);
    }
}

void Browser::read()
{
    std::array<char, 65536> bytes = {};
    for (;;) {
        const qsizetype count = readSome(bytes.data(), bytes.size());
        if (count <= 0) {
            return;
        }
        m_received.append(bytes.data(), count);
    }
}

void Browser::shut()
{
    if (std::exchange(m_hasShut, true)) {
        return;
    }
    if (m_tls) {
        SSL_shutdown(m_tls.get());
    }
    ::shutdown(m_descriptor.get(), SHUT_WR);
}

qsizetype Browser::writeSome()
{
    if (!m_tls) {
        return ::send(
            m_descriptor.get(), m_toSend.constData(), static_cast<std::size_t>(m_toSend.size()),
            MSG_NOSIGNAL);
    }
    ERR_clear_error();
    return SSL_write(m_tls.get(), m_toSend.constData(), static_cast<int>(m_toSend.size()));
}

qsizetype Browser::readSome(char* bytes, int size)
{
    if (!m_tls) {
        const ssize_t count = ::recv(m_descriptor.get(), bytes, static_cast<std::size_t>(size), 0);
        m_hasEnded = m_hasEnded || count == 0 || (count < 0 && errno != EAGAIN);
        return count;
    }
    ERR_clear_error();
    const int count = SSL_read(m_tls.get(), bytes, size);
    if (count <= 0) {
        const int error = SSL_get_error(m_tls.get(), count);
        m_hasEnded = m_hasEnded || (error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE);
    }
    return count;
}

} // namespace wingbell
