#include "relay/link/DtlsConnection.h"

#include "base/OpenSslHandles.h"

#include <openssl/ssl.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace wingbell {

namespace {

/// In bytes: what gets through every network without being taken apart.
constexpr long maxDatagram = 1200;

/// Quick at first, since a lost first message would cost a second otherwise. In microseconds.
unsigned nextTimeout(SSL* /*connection*/, unsigned previous)
{
    constexpr unsigned first = 50'000;
    constexpr unsigned max = 2'000'000;
    return previous == 0 ? first : std::min(2 * previous, max);
}

/// By sha-256, as SDP writes it: "3F:07:...:A0".
QByteArray fingerprintOf(const X509& certificate)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest = {};
    unsigned size = 0;
    X509_digest(&certificate, EVP_sha256(), digest.data(), &size);
    const QByteArray bytes(
        reinterpret_cast<const char*>(digest.data()), static_cast<qsizetype>(size));
    return bytes.toHex(':').toUpper();
}

/// Signed with itself: the fingerprint in the offer says whose it is, no authority does.
X509Handle selfSigned(EVP_PKEY& key)
{
    X509Handle certificate(X509_new());
    if (!certificate) {
        return nullptr;
    }
    constexpr long day = 24L * 60 * 60;
    X509* const made = certificate.get();
    X509_set_version(made, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(made), 1);
    X509_gmtime_adj(X509_getm_notBefore(made), -day);
    X509_gmtime_adj(X509_getm_notAfter(made), 365 * day);
    X509_set_pubkey(made, &key);
    X509_NAME* const name = X509_get_subject_name(made);
    X509_NAME_add_entry_by_txt(
        name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("intercom"), -1, -1, 0);
    X509_set_issuer_name(made, name);
    return X509_sign(made, &key, EVP_sha256()) == 0 ? nullptr : std::move(certificate);
}

} // namespace

/// What OpenSSL calls.
struct DtlsConnection::Callbacks
{
    static DtlsConnection& of(BIO* bio) { return *static_cast<DtlsConnection*>(BIO_get_data(bio)); }

    /// A write is a datagram.
    static int write(BIO* bio, const char* bytes, int size)
    {
        of(bio).m_send(
            {reinterpret_cast<const std::uint8_t*>(bytes), static_cast<std::size_t>(size)});
        return size;
    }

    /// A read is a datagram.
    static int read(BIO* bio, char* buffer, int size)
    {
        QByteArray& datagram = of(bio).m_incoming;
        BIO_clear_retry_flags(bio);
        if (datagram.isEmpty()) {
            BIO_set_retry_read(bio);
            return -1;
        }
        const qsizetype count = std::min<qsizetype>(size, datagram.size());
        std::copy_n(datagram.cbegin(), count, buffer);
        datagram.clear();
        return static_cast<int>(count);
    }

    static long control(BIO* /*bio*/, int command, long /*number*/, void* /*pointer*/)
    {
        switch (command) {
        case BIO_CTRL_FLUSH:
            return 1;
        case BIO_CTRL_DGRAM_QUERY_MTU:
        case BIO_CTRL_DGRAM_GET_FALLBACK_MTU:
            return maxDatagram;
        default:
            return 0;
        }
    }

    /// OpenSSL has no BIO in memory that keeps datagrams apart.
    static const BIO_METHOD* datagramMethod()
    {
        static BIO_METHOD* const method = [] {
            BIO_METHOD* made =
                BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "datagrams");
            BIO_meth_set_write(made, write);
            BIO_meth_set_read(made, read);
            BIO_meth_set_ctrl(made, control);
            return made;
        }();
        return method;
    }

    /// Only the certificate of the answer passes, no matter who signed it; another one fails the
    /// handshake before there are keys.
    static int verify(X509_STORE_CTX* chain, void* /*argument*/)
    {
        auto* const connection = static_cast<SSL*>(
            X509_STORE_CTX_get_ex_data(chain, SSL_get_ex_data_X509_STORE_CTX_idx()));
        auto& self = *static_cast<DtlsConnection*>(SSL_get_app_data(connection));
        const X509* const certificate = X509_STORE_CTX_get0_cert(chain);
        if (certificate != nullptr && fingerprintOf(*certificate) == self.m_fingerprint) {
            return 1;
        }
        self.m_state = State::Forged;
        X509_STORE_CTX_set_error(chain, X509_V_ERR_CERT_REJECTED);
        return 0;
    }
};

std::unique_ptr<DtlsContext> DtlsContext::make()
{
    const OpenSslErrorScope errors;
    const KeyHandle key(EVP_EC_gen("P-256"));
    const X509Handle certificate = key ? selfSigned(*key) : nullptr;
    std::unique_ptr<DtlsContext> made(new DtlsContext);
    made->m_context = SSL_CTX_new(DTLS_method());
    SSL_CTX* const context = made->m_context;
    if (!certificate || context == nullptr ||
        SSL_CTX_use_certificate(context, certificate.get()) != 1 ||
        SSL_CTX_use_PrivateKey(context, key.get()) != 1 ||
        SSL_CTX_set_tlsext_use_srtp(context, "SRTP_AEAD_AES_128_GCM:SRTP_AES128_CM_SHA1_80") != 0) {
        return nullptr;
    }
    SSL_CTX_set_min_proto_version(context, DTLS1_2_VERSION);
    SSL_CTX_set_options(context, SSL_OP_NO_QUERY_MTU | SSL_OP_NO_RENEGOTIATION);
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    SSL_CTX_set_cert_verify_callback(context, DtlsConnection::Callbacks::verify, nullptr);
    made->m_fingerprint = fingerprintOf(*certificate);
    return made;
}

DtlsContext::~DtlsContext()
{
    SSL_CTX_free(m_context);
}

DtlsConnection::DtlsConnection(const DtlsContext& context, Send send)
    : m_send(std::move(send))
    , m_connection(SSL_new(context.m_context))
{
    BIO* const bio = BIO_new(Callbacks::datagramMethod());
    BIO_set_data(bio, this);
    BIO_set_init(bio, 1);
    SSL_set_bio(m_connection, bio, bio);
    SSL_set_app_data(m_connection, this);
    SSL_set_mtu(m_connection, maxDatagram);
    DTLS_set_timer_cb(m_connection, nextTimeout);
}

DtlsConnection::~DtlsConnection()
{
    SSL_free(m_connection);
}

void DtlsConnection::begin(const QByteArray& fingerprint, bool isServer)
{
    m_fingerprint = fingerprint;
    m_isServer = isServer;
    m_hasBegun = true;
    if (isServer) {
        SSL_set_accept_state(m_connection);
    } else {
        SSL_set_connect_state(m_connection);
    }
    m_incoming = std::exchange(m_early, {});
    if (!isServer || !m_incoming.isEmpty()) {
        advance();
    }
}

void DtlsConnection::take(std::span<const std::uint8_t> datagram)
{
    QByteArray& taken = m_hasBegun ? m_incoming : m_early;
    taken = QByteArray(
        reinterpret_cast<const char*>(datagram.data()), static_cast<qsizetype>(datagram.size()));
    if (m_hasBegun) {
        advance();
    }
}

std::optional<std::chrono::milliseconds> DtlsConnection::timeout() const
{
    timeval left = {};
    if (m_state != State::Handshaking || DTLSv1_get_timeout(m_connection, &left) != 1) {
        return std::nullopt;
    }
    // Rounded up: too early is not yet time for OpenSSL.
    return std::chrono::ceil<std::chrono::milliseconds>(
               std::chrono::seconds(left.tv_sec) + std::chrono::microseconds(left.tv_usec)) +
           std::chrono::milliseconds(1);
}

void DtlsConnection::handleTimeout()
{
    const OpenSslErrorScope errors;
    if (m_state == State::Handshaking && DTLSv1_handle_timeout(m_connection) < 0) {
        m_state = State::Closed;
    }
}

std::optional<SrtpKeys> DtlsConnection::srtpKeys() const
{
    const OpenSslErrorScope errors;
    const SRTP_PROTECTION_PROFILE* const chosen = SSL_get_selected_srtp_profile(m_connection);
    if (m_state != State::Connected || chosen == nullptr) {
        return std::nullopt;
    }
    const SrtpProfile profile = chosen->id == SRTP_AEAD_AES_128_GCM ? SrtpProfile::AeadAes128Gcm
                                                                    : SrtpProfile::Aes128CmSha1_80;
    const std::size_t key = srtpKeySize(profile);
    const std::size_t salt = srtpSaltSize(profile);
    constexpr std::string_view label = "EXTRACTOR-dtls_srtp";
    std::vector<std::uint8_t> material(2 * (key + salt));
    if (SSL_export_keying_material(
            m_connection, material.data(), material.size(), label.data(), label.size(), nullptr, 0,
            0) != 1) {
        return std::nullopt;
    }
    // Both keys, then both salts, those of the client first.
    const auto cut = [&](std::size_t place) {
        const auto begin = material.begin();
        std::vector<std::uint8_t> master(
            begin + static_cast<std::ptrdiff_t>(place * key),
            begin + static_cast<std::ptrdiff_t>((place + 1) * key));
        const auto salts = begin + static_cast<std::ptrdiff_t>(2 * key + place * salt);
        master.insert(master.end(), salts, salts + static_cast<std::ptrdiff_t>(salt));
        return master;
    };
    return SrtpKeys{profile, cut(m_isServer ? 1 : 0), cut(m_isServer ? 0 : 1)};
}

void DtlsConnection::close()
{
    const OpenSslErrorScope errors;
    if (m_state == State::Connected) {
        (void)SSL_shutdown(m_connection);
    }
    m_state = State::Closed;
}

/// Reads what there is: goes on with the handshake, or notices the peer's goodbye.
void DtlsConnection::advance()
{
    const OpenSslErrorScope errors;
    if (m_state == State::Handshaking) {
        const int result = SSL_do_handshake(m_connection);
        if (result == 1) {
            m_state = SSL_get_selected_srtp_profile(m_connection) != nullptr ? State::Connected
                                                                             : State::Closed;
            return;
        }
        const int error = SSL_get_error(m_connection, result);
        if (error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE &&
            m_state != State::Forged) {
            m_state = State::Closed;
        }
        return;
    }
    if (m_state == State::Connected) {
        std::array<char, 256> unwanted = {};
        (void)SSL_read(m_connection, unwanted.data(), static_cast<int>(unwanted.size()));
        if ((SSL_get_shutdown(m_connection) & SSL_RECEIVED_SHUTDOWN) != 0) {
            m_state = State::Closed;
        }
    }
}

} // namespace wingbell
