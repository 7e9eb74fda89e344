#pragma once

#include "base/Result.h"
#include "relay/access/X509.h"

#include <QByteArray>
#include <QHostAddress>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <optional>
#include <vector>

namespace wingbell {

/// The addresses and host names that a certificate stands behind in a URL.
struct CertificateNames
{
    std::vector<QHostAddress> addresses; ///< most important first
    QStringList hostNames;               ///< likewise

    friend bool operator==(const CertificateNames&, const CertificateNames&) = default;
};

/// The key and the certificate with which the crew's page is served; see CertificateAuthority,
/// which issues them.
class Certificate
{
public:
    using Time = CertificateTime;

    /// From the first to the last moment. Apple refuses more than 825 days under an authority that
    /// a person has installed, and 398 under one that came with the system: the desk keeps to the
    /// shorter limit, as its certificate is renewed without a sign where the authority is trusted.
    /// Much shorter would only mean that all other phones ask again sooner.
    static constexpr std::chrono::system_clock::duration validity = std::chrono::days(397);
    /// Of that time, what has passed when it is made: for phones with wrong clocks.
    static constexpr std::chrono::system_clock::duration validBefore = std::chrono::days(1);
    static constexpr std::chrono::system_clock::duration renewedBefore = std::chrono::days(30);

    /// Of addresses and of host names each. Those beyond are left out.
    static constexpr std::size_t maxNames = 64;

    /// Out of a PEM text. nullopt if the key or the certificate is missing, broken, not on P-256,
    /// or does not fit the other.
    [[nodiscard]] static std::optional<Certificate> fromPem(const QByteArray& pem);

    /// The key and the certificate: what the server loads. A secret.
    [[nodiscard]] const QByteArray& pem() const { return m_pem; }

    /// The SHA-256 of the certificate as browsers show it: "3F:07:...".
    [[nodiscard]] const QString& fingerprint() const { return m_fingerprint; }

    /// All it stands behind, "localhost" and the loopback addresses among it.
    [[nodiscard]] const CertificateNames& names() const { return m_names; }

    /// True when it stands behind all of `names` that a certificate can name.
    [[nodiscard]] bool covers(const CertificateNames& names) const;

    [[nodiscard]] Time validFrom() const { return m_validFrom; }
    [[nodiscard]] Time validUntil() const { return m_validUntil; }

private:
    Certificate() = default;

    QByteArray m_pem;
    QString m_fingerprint;
    CertificateNames m_names;
    Time m_validFrom;
    Time m_validUntil;
};

/// As a certificate names them: "localhost" and the loopback addresses first, then each once, as
/// far as there is room.
[[nodiscard]] CertificateNames nameable(const CertificateNames& names);

class CertificateAuthority;
class StateDirectory;

/// A certificate that stays from one start of the server to the next. The texts are clauses for a
/// person, empty where there is nothing to tell.
struct StoredCertificate
{
    Certificate certificate;
    QString newBecause;       ///< of a new one: phones that do not trust the authority ask again
    QString notStoredBecause; ///< of a new one
};

/// The certificate in `folder`, while it is valid, `authority` has issued it, it covers what that
/// permits of `names` and stays good for a while; otherwise a new one, which is stored there. A new
/// one still covers what the one before it did, as far as there is room, so that a machine that
/// goes to and fro between networks is accepted once. nullopt if OpenSSL fails.
[[nodiscard]] std::optional<StoredCertificate> loadOrCreateCertificate(
    const StateDirectory& folder, const CertificateAuthority& authority,
    const CertificateNames& names, Certificate::Time now);

/// A certificate of the theatre's own, from an authority that the phones trust already.
struct TheatreCertificate
{
    QByteArray pem; ///< the key, the certificate, and others of its chain. A secret.
    QString fingerprint;
    QStringList hostNames; ///< under which the desk can be reached by it
    Certificate::Time validUntil;
};

/// The certificate in "theatre-certificate.pem" of `folder`, with its chain behind it, and the key
/// in "theatre-key.pem". nullopt if neither file is there; a clause for a person if they cannot be
/// used by this machine, which has `names`.
[[nodiscard]] Result<std::optional<TheatreCertificate>, QString> loadTheatreCertificate(
    const StateDirectory& folder, const CertificateNames& names, Certificate::Time now);

} // namespace wingbell
