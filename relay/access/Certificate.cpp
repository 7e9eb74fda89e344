#include "relay/access/Certificate.h"

#include "base/OpenSslHandles.h"
#include "relay/access/StateDirectory.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QRandomGenerator>
#include <QSslCertificate>

#include <algorithm>
#include <array>
#include <memory>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <string_view>

namespace wingbell {

namespace {

using Time = Certificate::Time;

using BioHandle = OpenSslHandle<BIO, BIO_free_all>;
using NumberHandle = OpenSslHandle<BIGNUM, BN_free>;
using ExtensionHandle = OpenSslHandle<X509_EXTENSION, X509_EXTENSION_free>;

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

/// As a certificate names them: what the machine calls itself first, then each once.
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

bool addExtension(X509& certificate, int kind, const char* value)
{
    X509V3_CTX context = {};
    X509V3_set_ctx(&context, &certificate, &certificate, nullptr, nullptr, 0);
    const ExtensionHandle extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value));
    return extension && X509_add_ext(&certificate, extension.get(), -1) == 1;
}

/// A number that no certificate had before: browsers refuse a second one with the same.
bool setSerial(X509& certificate)
{
    std::array<quint32, 4> random = {};
    QRandomGenerator::system()->generate(random.begin(), random.end());
    const NumberHandle number(
        BN_bin2bn(reinterpret_cast<const unsigned char*>(random.data()), sizeof random, nullptr));
    return number &&
           BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(&certificate)) != nullptr;
}

/// Signed with itself, it is its own issuer.
bool setSubject(X509& certificate)
{
    constexpr std::string_view name = "WingbellControl desk";
    X509_NAME* subject = X509_get_subject_name(&certificate);
    return X509_NAME_add_entry_by_txt(
               subject, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(name.data()),
               static_cast<int>(name.size()), -1, 0) == 1 &&
           X509_set_issuer_name(&certificate, subject) == 1;
}

bool setValidity(X509& certificate, Time from, Time until)
{
    using Clock = std::chrono::system_clock;
    return ASN1_TIME_set(X509_getm_notBefore(&certificate), Clock::to_time_t(from)) != nullptr &&
           ASN1_TIME_set(X509_getm_notAfter(&certificate), Clock::to_time_t(until)) != nullptr;
}

/// It may not sign others: a phone on which it is installed trusts this desk and nothing else.
bool setExtensions(X509& certificate, const CertificateNames& names)
{
    return addExtension(certificate, NID_basic_constraints, "critical,CA:FALSE") &&
           addExtension(certificate, NID_key_usage, "critical,digitalSignature") &&
           addExtension(certificate, NID_ext_key_usage, "serverAuth") &&
           addExtension(certificate, NID_subject_key_identifier, "hash") &&
           addExtension(certificate, NID_subject_alt_name, alternativeNames(names));
}

X509Handle signedCertificate(EVP_PKEY& key, const CertificateNames& names, Time from, Time until)
{
    X509Handle certificate(X509_new());
    const bool done =
        certificate && X509_set_version(certificate.get(), X509_VERSION_3) == 1 &&
        setSerial(*certificate) && setSubject(*certificate) &&
        setValidity(*certificate, from, until) && X509_set_pubkey(certificate.get(), &key) == 1 &&
        setExtensions(*certificate, names) && X509_sign(certificate.get(), &key, EVP_sha256()) != 0;
    return done ? std::move(certificate) : nullptr;
}

std::optional<QByteArray> pemText(const EVP_PKEY& key, const X509& certificate)
{
    const BioHandle target(BIO_new(BIO_s_mem()));
    if (!target ||
        PEM_write_bio_PrivateKey(target.get(), &key, nullptr, nullptr, 0, nullptr, nullptr) != 1 ||
        PEM_write_bio_X509(target.get(), &certificate) != 1) {
        return std::nullopt;
    }
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(target.get(), &bytes);
    return QByteArray(bytes, size);
}

/// Without this, OpenSSL would ask for a passphrase on the terminal.
int noPassphrase(char* /*buffer*/, int /*size*/, int /*writing*/, void* /*data*/)
{
    return -1;
}

/// Reads from `bytes`, which must stay.
BioHandle reading(const QByteArray& bytes)
{
    return BioHandle(BIO_new_mem_buf(bytes.constData(), static_cast<int>(bytes.size())));
}

KeyHandle keyIn(const QByteArray& pem)
{
    const BioHandle source = reading(pem);
    return KeyHandle(
        source ? PEM_read_bio_PrivateKey(source.get(), nullptr, noPassphrase, nullptr) : nullptr);
}

X509Handle certificateIn(const QByteArray& pem)
{
    const BioHandle source = reading(pem);
    return X509Handle(
        source ? PEM_read_bio_X509(source.get(), nullptr, nullptr, nullptr) : nullptr);
}

bool isOnP256(const EVP_PKEY& key)
{
    std::array<char, 64> group = {};
    return EVP_PKEY_is_a(&key, "EC") == 1 &&
           EVP_PKEY_get_group_name(&key, group.data(), group.size(), nullptr) == 1 &&
           std::string_view(group.data()) == SN_X9_62_prime256v1;
}

Time timeOf(const QDateTime& time)
{
    return Time(std::chrono::seconds(time.toSecsSinceEpoch()));
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

template <typename List> bool containsAll(const List& list, const List& wanted)
{
    return std::all_of(wanted.begin(), wanted.end(), [&list](const auto& entry) {
        return std::find(list.begin(), list.end(), entry) != list.end();
    });
}

/// Why a valid certificate must be replaced; empty when it need not be.
QString reasonAgainst(const Certificate& certificate, const CertificateNames& names, Time now)
{
    if (now < certificate.validFrom()) {
        return QStringLiteral("the stored certificate is not valid yet; check the clock");
    }
    if (now >= certificate.validUntil() - Certificate::renewedBefore) {
        return QStringLiteral("the one before is about to expire or has expired");
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

} // namespace

std::optional<Certificate> Certificate::make(const CertificateNames& names, Time now)
{
    const OpenSslErrorScope errors;
    const KeyHandle key(EVP_EC_gen("P-256"));
    if (!key) {
        return std::nullopt;
    }
    const X509Handle certificate =
        signedCertificate(*key, nameable(names), now - validBefore, now + validity);
    const auto pem = certificate ? pemText(*key, *certificate) : std::nullopt;
    return pem ? fromPem(*pem) : std::nullopt;
}

std::optional<Certificate> Certificate::fromPem(const QByteArray& pem)
{
    const OpenSslErrorScope errors;
    const KeyHandle key = keyIn(pem);
    const X509Handle certificate = certificateIn(pem);
    if (!key || !certificate || !isOnP256(*key) ||
        X509_check_private_key(certificate.get(), key.get()) != 1 ||
        X509_verify(certificate.get(), key.get()) != 1) {
        return std::nullopt;
    }
    auto text = pemText(*key, *certificate);
    const QSslCertificate parsed(text.value_or(QByteArray()));
    if (parsed.isNull() || !parsed.effectiveDate().isValid() || !parsed.expiryDate().isValid()) {
        return std::nullopt;
    }
    const QByteArray digest = parsed.digest(QCryptographicHash::Sha256);
    Certificate result;
    result.m_pem = *std::move(text);
    result.m_fingerprint = QString::fromLatin1(digest.toHex(':').toUpper());
    result.m_names = namesIn(parsed);
    result.m_validFrom = timeOf(parsed.effectiveDate());
    result.m_validUntil = timeOf(parsed.expiryDate());
    return result;
}

bool Certificate::covers(const CertificateNames& names) const
{
    const CertificateNames wanted = nameable(names);
    return containsAll(m_names.addresses, wanted.addresses) &&
           containsAll(m_names.hostNames, wanted.hostNames);
}

std::optional<StoredCertificate> loadOrCreateCertificate(
    const StateDirectory& folder, const CertificateNames& names, Certificate::Time now)
{
    const QString file = QStringLiteral("certificate.pem");
    const auto stored = folder.read(file);
    const auto before = stored ? Certificate::fromPem(*stored) : std::nullopt;
    const QString newBecause = before ? reasonAgainst(*before, names, now) : reasonAgainst(stored);
    if (before && newBecause.isEmpty()) {
        return StoredCertificate{*before, {}, {}};
    }
    const auto made = Certificate::make(before ? withOlder(names, before->names()) : names, now);
    if (!made) {
        return std::nullopt;
    }
    const auto written = folder.write(file, made->pem());
    return StoredCertificate{*made, newBecause, written ? QString() : written.error().reason};
}

} // namespace wingbell
