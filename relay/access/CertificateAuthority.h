#pragma once

#include "relay/access/Certificate.h"

#include <QByteArray>
#include <QHostAddress>
#include <QString>
#include <QStringList>

#include <optional>

namespace wingbell {

/// The desk's own certificate authority. A phone on which it is installed shows no warning,
/// whatever address the desk gets and however often its certificate is renewed.
///
/// Critical name constraints keep it from vouching for anything on the internet, even if its key is
/// stolen: private and link-local addresses, ".local" and the desk's own host names are permitted.
class CertificateAuthority
{
public:
    using Time = CertificateTime;

    /// Ten years: to install another one is work for every phone.
    static constexpr std::chrono::system_clock::duration validity = std::chrono::days(3652);
    /// Then it is replaced, as it could not sign for long.
    static constexpr std::chrono::system_clock::duration renewedBefore = std::chrono::days(60);

    /// A new key and certificate for a desk with these host names. nullopt if OpenSSL fails.
    [[nodiscard]] static std::optional<CertificateAuthority>
    make(const QStringList& hostNames, Time now);

    /// Out of a PEM text. nullopt if the key or the certificate is missing, broken, or does not fit
    /// the other, or if it is no authority with name constraints.
    [[nodiscard]] static std::optional<CertificateAuthority> fromPem(const QByteArray& pem);

    /// The key and the certificate. A secret.
    [[nodiscard]] const QByteArray& pem() const { return m_pem; }

    /// The certificate alone in DER, and its SHA-256 as systems show it: "3F:07:...".
    [[nodiscard]] const QByteArray& der() const { return m_der; }
    [[nodiscard]] QString fingerprint() const { return fingerprintOf(m_der); }

    /// A configuration profile by which an iPhone or iPad installs the certificate (XML).
    [[nodiscard]] QByteArray appleProfile() const;

    /// Those of `names` that it may vouch for.
    [[nodiscard]] CertificateNames permitted(const CertificateNames& names) const;

    /// A new key and a certificate for permitted(names), "localhost" and the loopback addresses,
    /// good from `Certificate::validBefore` before `now`. nullopt if OpenSSL fails.
    [[nodiscard]] std::optional<Certificate>
    issue(const CertificateNames& names, Certificate::Time now) const;

    [[nodiscard]] bool hasIssued(const Certificate& certificate) const;

    [[nodiscard]] Time validUntil() const { return m_validUntil; }

private:
    CertificateAuthority() = default;

    QByteArray m_pem;
    QByteArray m_der;
    QString m_commonName;
    QStringList m_domains; ///< permitted, with the names below them
    Time m_validUntil;
};

class StateDirectory;

/// An authority that stays from one start of the server to the next. The texts are clauses for a
/// person, empty where there is nothing to tell.
struct StoredAuthority
{
    CertificateAuthority authority;
    QString replacedBecause;  ///< why one that was there is not used
    QString notStoredBecause; ///< of a new one
};

/// The authority in `folder`. Where there is none, or none that can be believed, a new one, which
/// is stored there. nullopt if OpenSSL fails.
[[nodiscard]] std::optional<StoredAuthority> loadOrCreateAuthority(
    const StateDirectory& folder, const QStringList& hostNames, CertificateTime now);

} // namespace wingbell
