#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QString>
#include <QStringList>

#include <chrono>
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

/// The key, and the certificate signed with itself, with which the crew's page is served.
class Certificate
{
public:
    using Time = std::chrono::system_clock::time_point;

    /// Safari takes no certificate that is good for more than 825 days, from any issuer. Much
    /// shorter would only mean that every phone asks again sooner.
    static constexpr std::chrono::system_clock::duration validity = std::chrono::days(820);
    /// Phones with wrong clocks.
    static constexpr std::chrono::system_clock::duration validBefore = std::chrono::days(1);
    static constexpr std::chrono::system_clock::duration renewedBefore = std::chrono::days(30);

    /// Of addresses and of host names each. Those beyond are left out.
    static constexpr std::size_t maxNames = 64;

    /// A new key on the curve P-256 and a certificate for `names`, "localhost" and the loopback
    /// addresses, good from `validBefore` before `now`. nullopt if OpenSSL fails, which takes a
    /// lack of memory.
    [[nodiscard]] static std::optional<Certificate> make(const CertificateNames& names, Time now);

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

class StateDirectory;

/// A certificate that stays from one start of the server to the next. The texts are clauses for a
/// person, empty where there is nothing to tell.
struct StoredCertificate
{
    Certificate certificate;
    QString newBecause;       ///< of a new one: the crew must accept it again
    QString notStoredBecause; ///< of a new one
};

/// The certificate in `folder`, while it is valid, covers `names` and stays good for a while;
/// otherwise a new one, which is stored there. A new one still covers what the one before it did,
/// as far as there is room, so that a machine that goes to and fro between networks is accepted
/// once. nullopt if OpenSSL fails.
[[nodiscard]] std::optional<StoredCertificate> loadOrCreateCertificate(
    const StateDirectory& folder, const CertificateNames& names, Certificate::Time now);

} // namespace wingbell
