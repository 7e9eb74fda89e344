#pragma once

#include "base/OpenSslHandles.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <optional>
#include <utility>
#include <vector>

namespace wingbell {

// X.509 certificates and their keys, by OpenSSL. Callers hold an OpenSslErrorScope.

using CertificateTime = std::chrono::system_clock::time_point;

/// What a new certificate says. The extensions are numbers (NID_...) and values in the words of
/// OpenSSL's configuration.
struct CertificateContents
{
    QByteArray commonName;
    CertificateTime from;
    CertificateTime until;
    std::vector<std::pair<int, QByteArray>> extensions;
};

/// A new key on the curve P-256; null if OpenSSL fails.
[[nodiscard]] KeyHandle newKey();

/// A certificate for `key`, signed by `issuer` with `issuerKey`, or by itself if `issuer` is null.
/// Null if OpenSSL fails.
[[nodiscard]] X509Handle signedCertificate(
    const CertificateContents& contents, EVP_PKEY& key, const X509* issuer, EVP_PKEY& issuerKey);

/// The key and the certificate as PEM text.
[[nodiscard]] std::optional<QByteArray> pemText(const EVP_PKEY& key, const X509& certificate);

/// The first private key, or certificate, in `pem`; null if there is none. Asks for no passphrase.
[[nodiscard]] KeyHandle keyIn(const QByteArray& pem);
[[nodiscard]] X509Handle certificateIn(const QByteArray& pem);

[[nodiscard]] bool isOnP256(const EVP_PKEY& key);

/// nullopt for a time that is not valid.
[[nodiscard]] std::optional<CertificateTime> timeOf(const ASN1_TIME* time);

/// The SHA-256 of a certificate in DER, as browsers show it: "3F:07:...".
[[nodiscard]] QString fingerprintOf(const QByteArray& der);
[[nodiscard]] QByteArray derOf(const X509& certificate);

} // namespace wingbell
