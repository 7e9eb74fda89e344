#include "relay/access/Certificate.h"

#include "relay/access/CertificateAuthority.h"
#include "relay/access/StateDirectory.h"

#include <QSslCertificate>

#include <algorithm>
#include <array>
#include <openssl/x509v3.h>

namespace wingbell {

namespace {

using Time = Certificate::Time;

bool isNameable(const QString& name)
{
    constexpr qsizetype maxSize = 253;
    return !name.isEmpty() && name.size() <= maxSize &&
           std::all_of(name.begin(), name.end(), [](QChar character) {
               const char16_t unit = character.unicode();
               return (unit >= u'a' && unit <= u'z') || (unit >= u'0' && unit <= u'9') ||
                      unit == u'-' || unit == u'.' || unit == u'_';
           });
}

template <typename List, typename Entry> void appendOnce(List& list, const Entry& entry)
{
    if (std::find(list.begin(), list.end(), entry) == list.end() &&
        static_cast<std::size_t>(list.size()) < Certificate::maxNames) {
        list.push_back(entry);
    }
}

CertificateNames namesIn(const QSslCertificate& certificate)
{
    const auto alternatives = certificate.subjectAlternativeNames();
    CertificateNames names;
    // Qt has the last first.
    for (const QString& address : alternatives.values(QSsl::IpAddressEntry)) {
        names.addresses.insert(names.addresses.begin(), QHostAddress(address));
    }
    for (const QString& name : alternatives.values(QSsl::DnsEntry)) {
        names.hostNames.prepend(name);
    }
    return names;
}

template <typename List, typename Entry> bool contains(const List& list, const Entry& entry)
{
    return std::find(list.begin(), list.end(), entry) != list.end();
}

template <typename List> bool containsAll(const List& list, const List& wanted)
{
    return std::all_of(
        wanted.begin(), wanted.end(), [&list](const auto& entry) { return contains(list, entry); });
}

/// Why a valid certificate must be replaced; empty when it need not be.
QString reasonAgainst(
    const Certificate& certificate, const CertificateAuthority& authority,
    const CertificateNames& names, Time now)
{
    if (now < certificate.validFrom()) {
        return QStringLiteral("the stored certificate is not valid yet; check the clock");
    }
    if (now >= certificate.validUntil() - Certificate::renewedBefore) {
        return QStringLiteral("the one before is about to expire or has expired");
    }
    if (!authority.hasIssued(certificate)) {
        return QStringLiteral("this desk's authority has not issued the one before");
    }
    if (!certificate.covers(names)) {
        return QStringLiteral("this machine has addresses or names that the one before lacks");
    }
    return {};
}

QString reasonAgainst(const Result<QByteArray, FileError>& stored)
{
    if (stored) {
        return QStringLiteral("the one before is damaged");
    }
    const bool isMissing = stored.error().kind == FileError::Kind::Missing;
    return isMissing ? QStringLiteral("there was none") : stored.error().reason;
}

/// `names` first: where there is no room for all, they count most.
CertificateNames withOlder(CertificateNames names, const CertificateNames& older)
{
    names.addresses.insert(names.addresses.end(), older.addresses.begin(), older.addresses.end());
    names.hostNames.append(older.hostNames);
    return names;
}

/// Under which of its own names a machine with `names` can be reached by a certificate for
/// `certified`: with a wildcard, that is its own name in that domain.
QStringList reachableNames(const CertificateNames& certified, const CertificateNames& names)
{
    const QString wildcard = QStringLiteral("*.");
    const QString own = names.hostNames.value(0).section(QLatin1Char('.'), 0, 0);
    QStringList reachable;
    for (const QString& name : certified.hostNames) {
        const bool isWildcard = name.startsWith(wildcard);
        const QString host = isWildcard ? own + name.sliced(1).toLower() : name.toLower();
        if (isNameable(host) && !host.startsWith(QLatin1Char('.'))) {
            appendOnce(reachable, host);
        }
    }
    return reachable;
}

/// Why a certificate of the theatre's own cannot be used; empty if it can.
QString reasonAgainst(
    const X509& certificate, const EVP_PKEY& key, const std::optional<Time>& from,
    const std::optional<Time>& until, Time now)
{
    if (X509_check_private_key(&certificate, &key) != 1) {
        return QStringLiteral("its key belongs to another certificate");
    }
    if (EVP_PKEY_is_a(&key, "RSA") != 1 && EVP_PKEY_is_a(&key, "EC") != 1) {
        return QStringLiteral("its key is neither RSA nor on an elliptic curve");
    }
    if (!from || now < *from) {
        return QStringLiteral("it is not valid yet; check the clock");
    }
    if (!until || now >= *until) {
        return QStringLiteral("it has expired");
    }
    return {};
}

} // namespace

CertificateNames nameable(const CertificateNames& names)
{
    CertificateNames result;
    result.hostNames = {QStringLiteral("localhost")};
    result.addresses.emplace_back(QHostAddress::LocalHost);
    result.addresses.emplace_back(QHostAddress::LocalHostIPv6);
    for (QHostAddress address : names.addresses) {
        address.setScopeId({});
        appendOnce(result.addresses, address);
    }
    for (const QString& name : names.hostNames) {
        if (isNameable(name.toLower())) {
            appendOnce(result.hostNames, name.toLower());
        }
    }
    return result;
}

std::optional<Certificate> Certificate::fromPem(const QByteArray& pem)
{
    const OpenSslErrorScope errors;
    const KeyHandle key = keyIn(pem);
    const X509Handle certificate = certificateIn(pem);
    if (!key || !certificate || !isOnP256(*key) ||
        X509_check_private_key(certificate.get(), key.get()) != 1) {
        return std::nullopt;
    }
    auto text = pemText(*key, *certificate);
    const auto from = timeOf(X509_get0_notBefore(certificate.get()));
    const auto until = timeOf(X509_get0_notAfter(certificate.get()));
    const QByteArray der = derOf(*certificate);
    const QSslCertificate parsed(der, QSsl::Der);
    if (!text || !from || !until || parsed.isNull()) {
        return std::nullopt;
    }
    Certificate result;
    result.m_pem = *std::move(text);
    result.m_fingerprint = fingerprintOf(der);
    result.m_names = namesIn(parsed);
    result.m_validFrom = *from;
    result.m_validUntil = *until;
    return result;
}

bool Certificate::covers(const CertificateNames& names) const
{
    const CertificateNames wanted = nameable(names);
    return containsAll(m_names.addresses, wanted.addresses) &&
           containsAll(m_names.hostNames, wanted.hostNames);
}

std::optional<StoredCertificate> loadOrCreateCertificate(
    const StateDirectory& folder, const CertificateAuthority& authority,
    const CertificateNames& names, Certificate::Time now)
{
    const QString file = QStringLiteral("certificate.pem");
    const CertificateNames wanted = authority.permitted(names);
    const auto stored = folder.read(file);
    const auto before = stored ? Certificate::fromPem(*stored) : std::nullopt;
    const QString newBecause =
        before ? reasonAgainst(*before, authority, wanted, now) : reasonAgainst(stored);
    if (before && newBecause.isEmpty()) {
        return StoredCertificate{*before, {}, {}};
    }
    const auto made = authority.issue(before ? withOlder(wanted, before->names()) : wanted, now);
    if (!made) {
        return std::nullopt;
    }
    const auto written = folder.write(file, made->pem());
    return StoredCertificate{*made, newBecause, written ? QString() : written.error().reason};
}

Result<std::optional<TheatreCertificate>, QString> loadTheatreCertificate(
    const StateDirectory& folder, const CertificateNames& names, Certificate::Time now)
{
    const OpenSslErrorScope errors;
    const auto chain = folder.read(QStringLiteral("theatre-certificate.pem"));
    const auto keyText = folder.read(QStringLiteral("theatre-key.pem"));
    if (!chain && !keyText && chain.error().kind == FileError::Kind::Missing &&
        keyText.error().kind == FileError::Kind::Missing) {
        return std::nullopt;
    }
    if (!chain || !keyText) {
        return failure((chain ? keyText : chain).error().reason);
    }
    const KeyHandle key = keyIn(*keyText);
    const X509Handle certificate = certificateIn(*chain);
    if (!certificate) {
        return failure(QStringLiteral("theatre-certificate.pem holds no certificate in PEM"));
    }
    if (!key) {
        return failure(
            QStringLiteral("theatre-key.pem holds no private key in PEM without a passphrase"));
    }
    const auto from = timeOf(X509_get0_notBefore(certificate.get()));
    const auto until = timeOf(X509_get0_notAfter(certificate.get()));
    if (const QString reason = reasonAgainst(*certificate, *key, from, until, now);
        !reason.isEmpty()) {
        return failure(reason);
    }
    const QByteArray der = derOf(*certificate);
    const CertificateNames certified = namesIn(QSslCertificate(der, QSsl::Der));
    const QStringList hosts = reachableNames(certified, names);
    const bool hasAddress = std::any_of(
        names.addresses.begin(), names.addresses.end(), [&certified](const QHostAddress& address) {
            return contains(certified.addresses, address);
        });
    if (hosts.isEmpty() && !hasAddress) {
        return failure(QStringLiteral("it names no host and no address of this computer"));
    }
    return TheatreCertificate{*keyText + '\n' + *chain, fingerprintOf(der), hosts, *until};
}

} // namespace wingbell
