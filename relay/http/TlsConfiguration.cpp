#include "relay/http/TlsConfiguration.h"

#include <QSslCertificate>
#include <QSslDiffieHellmanParameters>
#include <QSslKey>
#include <QSslSocket>

namespace wingbell {

std::optional<QSslConfiguration> tlsConfiguration(const QByteArray& pem)
{
    const QList<QSslCertificate> chain = QSslCertificate::fromData(pem, QSsl::Pem);
    const QSslKey key(pem, QSsl::Ec, QSsl::Pem, QSsl::PrivateKey);
    if (!QSslSocket::supportsSsl() || chain.isEmpty() || key.isNull()) {
        return std::nullopt;
    }
    QSslConfiguration tls;
    tls.setLocalCertificateChain(chain);
    tls.setPrivateKey(key);
    tls.setProtocol(QSsl::TlsV1_2OrLater);
    tls.setPeerVerifyMode(QSslSocket::VerifyNone);
    tls.setCaCertificates({}); // otherwise the system's are loaded
    tls.setAllowedNextProtocols({QSslConfiguration::NextProtocolHttp1_1});
    tls.setSslOption(QSsl::SslOptionDisableSessionTickets, true);
    tls.setDiffieHellmanParameters(QSslDiffieHellmanParameters()); // OpenSSL refuses Qt's
    // Of TLS 1.2 only authenticated encryption (AEAD); 1.3 has no other.
    tls.setBackendConfigurationOption("CipherString", QByteArray("ECDHE+AESGCM:ECDHE+CHACHA20"));
    return tls;
}

} // namespace wingbell
