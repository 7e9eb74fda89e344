#include "relay/access/CertificateAuthority.h"

#include "relay/access/StateDirectory.h"

#include <QUuid>

#include <algorithm>
#include <array>
#include <openssl/x509v3.h>
#include <utility>

namespace wingbell {

namespace {

using Time = CertificateAuthority::Time;

using ConstraintsHandle = OpenSslHandle<NAME_CONSTRAINTS, NAME_CONSTRAINTS_free>;

/// Private and link-local networks, and the loopback.
struct PermittedNetwork
{
    const char* network;
    int prefix;
    const char* mask;
};
constexpr auto permittedNetworks = std::to_array<PermittedNetwork>({
    {"10.0.0.0", 8, "255.0.0.0"},
    {"172.16.0.0", 12, "255.240.0.0"},
    {"192.168.0.0", 16, "255.255.0.0"},
    {"169.254.0.0", 16, "255.255.0.0"},
    {"127.0.0.0", 8, "255.0.0.0"},
    {"fc00::", 7, "fe00::"},
    {"fe80::", 10, "ffc0::"},
    {"::1", 128, "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
});

/// In the words of OpenSSL's configuration.
QByteArray constraintsFor(const QStringList& domains)
{
    QByteArrayList words{"critical"};
    for (const PermittedNetwork& permitted : permittedNetworks) {
        words.append(QByteArray("permitted;IP:") + permitted.network + '/' + permitted.mask);
    }
    for (const QString& domain : domains) {
        words.append("permitted;DNS:" + domain.toLatin1());
    }
    return words.join(',');
}

/// The domains that the certificate permits; nullopt if it does not restrict both names and
/// addresses.
std::optional<QStringList> domainsIn(const X509& certificate)
{
    int isCritical = 0;
    const ConstraintsHandle constraints(static_cast<NAME_CONSTRAINTS*>(
        X509_get_ext_d2i(&certificate, NID_name_constraints, &isCritical, nullptr)));
    if (!constraints || isCritical != 1) {
        return std::nullopt;
    }
    QStringList domains;
    std::size_t networks = 0;
    for (int index = 0; index < sk_GENERAL_SUBTREE_num(constraints->permittedSubtrees); ++index) {
        const GENERAL_NAME* const name =
            sk_GENERAL_SUBTREE_value(constraints->permittedSubtrees, index)->base;
        if (name->type == GEN_IPADD) {
            ++networks;
        } else if (name->type == GEN_DNS) {
            domains.append(QString::fromLatin1(
                reinterpret_cast<const char*>(ASN1_STRING_get0_data(name->d.dNSName)),
                ASN1_STRING_length(name->d.dNSName)));
        }
    }
    return networks == permittedNetworks.size() && !domains.isEmpty() ? std::optional(domains)
                                                                      : std::nullopt;
}

QString commonNameOf(const X509& certificate)
{
    std::array<char, 256> text = {};
    const int size = X509_NAME_get_text_by_NID(
        X509_get_subject_name(&certificate), NID_commonName, text.data(), text.size());
    return QString::fromUtf8(text.data(), std::max(size, 0));
}

bool isPermitted(const QHostAddress& address)
{
    return std::any_of(
        permittedNetworks.begin(), permittedNetworks.end(),
        [&address](const PermittedNetwork& permitted) {
            return address.isInSubnet(
                QHostAddress(QString::fromLatin1(permitted.network)), permitted.prefix);
        });
}

/// In the words of OpenSSL's configuration: "DNS:localhost,IP:127.0.0.1".
QByteArray alternativeNames(const CertificateNames& names)
{
    QStringList words;
    for (const QString& name : names.hostNames) {
        words.append(QStringLiteral("DNS:") + name);
    }
    for (const QHostAddress& address : names.addresses) {
        words.append(QStringLiteral("IP:") + address.toString());
    }
    return words.join(QLatin1Char(',')).toLatin1();
}

/// Why a stored authority must be replaced; empty when it need not be. A wrong clock is no reason:
/// every phone would have to install the new one.
QString reasonAgainst(
    const Result<QByteArray, FileError>& stored,
    const std::optional<CertificateAuthority>& authority, Time now)
{
    if (!stored) {
        return stored.error().reason;
    }
    if (!authority) {
        return QStringLiteral("the one before is damaged");
    }
    if (now >= authority->validUntil() - CertificateAuthority::renewedBefore) {
        return QStringLiteral("the one before is about to expire or has expired");
    }
    return {};
}

} // namespace

std::optional<CertificateAuthority>
CertificateAuthority::make(const QStringList& hostNames, Time now)
{
    const OpenSslErrorScope errors;
    const KeyHandle key = newKey();
    if (!key) {
        return std::nullopt;
    }
    QStringList domains = nameable({{}, hostNames}).hostNames;
    domains.append(QStringLiteral("local"));
    // A number tells the authorities of several desks, or of one desk in the course of time, apart.
    const QByteArray number = QUuid::createUuid().toRfc4122().first(3).toHex().toUpper();
    const X509Handle certificate = signedCertificate(
        {"Wingbell desk authority " + number,
         now - Certificate::validBefore,
         now - Certificate::validBefore + validity,
         {{NID_basic_constraints, "critical,CA:TRUE,pathlen:0"},
          {NID_key_usage, "critical,keyCertSign"},
          {NID_name_constraints, constraintsFor(domains)},
          {NID_subject_key_identifier, "hash"}}},
        *key, nullptr, *key);
    const auto pem = certificate ? pemText(*key, *certificate) : std::nullopt;
    return pem ? fromPem(*pem) : std::nullopt;
}

std::optional<CertificateAuthority> CertificateAuthority::fromPem(const QByteArray& pem)
{
    const OpenSslErrorScope errors;
    const KeyHandle key = keyIn(pem);
    const X509Handle certificate = certificateIn(pem);
    if (!key || !certificate || X509_check_private_key(certificate.get(), key.get()) != 1 ||
        X509_verify(certificate.get(), key.get()) != 1 || X509_check_ca(certificate.get()) != 1) {
        return std::nullopt;
    }
    auto text = pemText(*key, *certificate);
    auto domains = domainsIn(*certificate);
    const auto until = timeOf(X509_get0_notAfter(certificate.get()));
    if (!text || !domains || !until) {
        return std::nullopt;
    }
    CertificateAuthority result;
    result.m_pem = *std::move(text);
    result.m_der = derOf(*certificate);
    result.m_commonName = commonNameOf(*certificate);
    result.m_domains = *std::move(domains);
    result.m_validUntil = *until;
    return result;
}

/// Its identifiers depend on the certificate alone: a phone replaces the profile by itself, and
/// keeps those of several desks apart.
QByteArray CertificateAuthority::appleProfile() const
{
    const auto uuid = [this](const char* part) {
        return QUuid::createUuidV5(QUuid(), QByteArray(m_der + part))
            .toByteArray(QUuid::WithoutBraces);
    };
    const QByteArray identifier = "wingbell.authority." + uuid("profile");
    const QByteArray name = m_commonName.toHtmlEscaped().toUtf8();
    const auto entry = [](const char* key, const QByteArray& value,
                          const char* type = "string") -> QByteArray {
        return QByteArray("<key>") + key + "</key><" + type + '>' + value + "</" + type + ">\n";
    };
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n<dict>\n<key>PayloadContent</key>\n<array>\n<dict>\n" +
           entry("PayloadCertificateFileName", "authority.crt") +
           entry("PayloadContent", m_der.toBase64(), "data") + entry("PayloadDisplayName", name) +
           entry("PayloadIdentifier", identifier + ".certificate") +
           entry("PayloadType", "com.apple.security.root") +
           entry("PayloadUUID", uuid("certificate")) + entry("PayloadVersion", "1", "integer") +
           "</dict>\n</array>\n" +
           entry(
               "PayloadDescription",
               "Lets this device trust the intercom desk on the show's network, and nothing on the "
               "internet.") +
           entry("PayloadDisplayName", name) + entry("PayloadIdentifier", identifier) +
           entry("PayloadType", "Configuration") + entry("PayloadUUID", uuid("profile")) +
           entry("PayloadVersion", "1", "integer") + "</dict>\n</plist>\n";
}

CertificateNames CertificateAuthority::permitted(const CertificateNames& names) const
{
    CertificateNames result;
    std::copy_if(
        names.addresses.begin(), names.addresses.end(), std::back_inserter(result.addresses),
        isPermitted);
    for (const QString& name : names.hostNames) {
        const QString wanted = name.toLower();
        if (std::any_of(m_domains.begin(), m_domains.end(), [&wanted](const QString& domain) {
                return wanted == domain || wanted.endsWith(QLatin1Char('.') + domain);
            })) {
            result.hostNames.append(name);
        }
    }
    return result;
}

std::optional<Certificate>
CertificateAuthority::issue(const CertificateNames& names, Certificate::Time now) const
{
    const OpenSslErrorScope errors;
    const KeyHandle key = newKey();
    const KeyHandle ownKey = keyIn(m_pem);
    const X509Handle own = certificateIn(m_pem);
    if (!key || !ownKey || !own) {
        return std::nullopt;
    }
    const Time from = now - Certificate::validBefore;
    const X509Handle certificate = signedCertificate(
        {"WingbellControl desk",
         from,
         std::min(from + Certificate::validity, m_validUntil),
         {{NID_basic_constraints, "critical,CA:FALSE"},
          {NID_key_usage, "critical,digitalSignature"},
          {NID_ext_key_usage, "serverAuth"},
          {NID_subject_key_identifier, "hash"},
          {NID_authority_key_identifier, "keyid:always"},
          {NID_subject_alt_name, alternativeNames(nameable(permitted(names)))}}},
        *key, own.get(), *ownKey);
    const auto pem = certificate ? pemText(*key, *certificate) : std::nullopt;
    return pem ? Certificate::fromPem(*pem) : std::nullopt;
}

bool CertificateAuthority::hasIssued(const Certificate& certificate) const
{
    const OpenSslErrorScope errors;
    const X509Handle own = certificateIn(m_pem);
    const X509Handle issued = certificateIn(certificate.pem());
    return own && issued && X509_check_issued(own.get(), issued.get()) == X509_V_OK &&
           X509_verify(issued.get(), X509_get0_pubkey(own.get())) == 1;
}

std::optional<StoredAuthority> loadOrCreateAuthority(
    const StateDirectory& folder, const QStringList& hostNames, CertificateTime now)
{
    const QString file = QStringLiteral("authority.pem");
    const auto stored = folder.read(file);
    const auto before = stored ? CertificateAuthority::fromPem(*stored) : std::nullopt;
    const QString reason = reasonAgainst(stored, before, now);
    if (before && reason.isEmpty()) {
        return StoredAuthority{*before, {}, {}};
    }
    const auto made = CertificateAuthority::make(hostNames, now);
    if (!made) {
        return std::nullopt;
    }
    const bool wasMissing = !stored && stored.error().kind == FileError::Kind::Missing;
    const auto written = folder.write(file, made->pem());
    return StoredAuthority{
        *made, wasMissing ? QString() : reason, written ? QString() : written.error().reason};
}

} // namespace wingbell
