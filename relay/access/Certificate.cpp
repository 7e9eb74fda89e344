#include "relay/access/Certificate.h"

#include "relay/access/OpenSslHandles.h"
#include "relay/net/IpAddress.h"

#include <QRandomGenerator>

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>
#include <openssl/ec.h>
#include <string_view>

namespace wingbell {

namespace {

using Time = Certificate::Time;

bool isNameable(const QString& name)
{
    constexpr qsizetype longest = 253;
    return !name.isEmpty() && name.size() <= longest &&
           std::all_of(name.begin(), name.end(), [](QChar character) {
               const char16_t unit = character.unicode();
               return (unit >= u'a' && unit <= u'z') || (unit >= u'0' && unit <= u'9') ||
                      unit == u'-' || unit == u'.' || unit == u'_';
           });
}

template <typename List, typename Entry> void appendOnce(List& list, const Entry& entry)
{
    if (std::find(list.begin(), list.end(), entry) == list.end() &&
        static_cast<std::size_t>(list.size()) < Certificate::mostNames) {
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
    for (const QHostAddress& address : names.addresses) {
        appendOnce(result.addresses, address);
    }
    for (const QString& name : names.hostNames) {
        if (isNameable(name.toLower())) {
            appendOnce(result.hostNames, name.toLower());
        }
    }
    return result;
}

/// Takes over `value` where it succeeds, as the libraries' lists do.
bool append(GENERAL_NAMES& names, int type, QByteArrayView bytes)
{
    const bool isAddress = type == GEN_IPADD;
    ASN1_STRING* value = isAddress ? ASN1_OCTET_STRING_new() : ASN1_IA5STRING_new();
    if (value == nullptr ||
        ASN1_STRING_set(value, bytes.data(), static_cast<int>(bytes.size())) != 1) {
        ASN1_STRING_free(value);
        return false;
    }
    GeneralNameHandle name(GENERAL_NAME_new());
    if (!name) {
        ASN1_STRING_free(value);
        return false;
    }
    GENERAL_NAME_set0_value(name.get(), type, value);
    if (sk_GENERAL_NAME_push(&names, name.get()) <= 0) {
        return false;
    }
    (void)name.release();
    return true;
}

bool addNames(X509& certificate, const CertificateNames& names)
{
    const GeneralNamesHandle list(sk_GENERAL_NAME_new_null());
    if (!list) {
        return false;
    }
    const bool complete =
        std::all_of(
            names.hostNames.begin(), names.hostNames.end(),
            [&list](const QString& name) { return append(*list, GEN_DNS, name.toLatin1()); }) &&
        std::all_of(
            names.addresses.begin(), names.addresses.end(), [&list](const QHostAddress& address) {
                return append(*list, GEN_IPADD, addressBytes(address));
            });
    return complete &&
           X509_add1_ext_i2d(
               &certificate, NID_subject_alt_name, list.get(), 0, X509V3_ADD_DEFAULT) == 1;
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

/// It may not sign others: whoever installs it on a phone trusts this desk and nothing else.
bool setExtensions(X509& certificate, const CertificateNames& names)
{
    return addExtension(certificate, NID_basic_constraints, "critical,CA:FALSE") &&
           addExtension(certificate, NID_key_usage, "critical,digitalSignature") &&
           addExtension(certificate, NID_ext_key_usage, "serverAuth") &&
           addExtension(certificate, NID_subject_key_identifier, "hash") &&
           addNames(certificate, names);
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

KeyHandle keyIn(const QByteArray& pem)
{
    const BioHandle source = reading(pem);
    return KeyHandle(
        source ? PEM_read_bio_PrivateKey(source.get(), nullptr, noPassphrase, nullptr) : nullptr);
}

bool isOnP256(const EVP_PKEY& key)
{
    std::array<char, 64> group = {};
    return EVP_PKEY_is_a(&key, "EC") == 1 &&
           EVP_PKEY_get_group_name(&key, group.data(), group.size(), nullptr) == 1 &&
           std::string_view(group.data()) == SN_X9_62_prime256v1;
}

std::optional<Time> timeOf(const ASN1_TIME* time)
{
    std::tm parts = {};
    if (ASN1_TIME_to_tm(time, &parts) != 1) {
        return std::nullopt;
    }
    return std::chrono::system_clock::from_time_t(::timegm(&parts));
}

QByteArrayView bytesOf(const ASN1_STRING* text)
{
    return {
        reinterpret_cast<const char*>(ASN1_STRING_get0_data(text)),
        qsizetype{ASN1_STRING_length(text)}};
}

CertificateNames namesIn(const X509& certificate)
{
    CertificateNames names;
    const GeneralNamesHandle list(static_cast<GENERAL_NAMES*>(
        X509_get_ext_d2i(&certificate, NID_subject_alt_name, nullptr, nullptr)));
    for (int at = 0; at < sk_GENERAL_NAME_num(list.get()); ++at) {
        const GENERAL_NAME* name = sk_GENERAL_NAME_value(list.get(), at);
        if (name->type == GEN_DNS) {
            names.hostNames.append(QString::fromLatin1(bytesOf(name->d.dNSName)));
        } else if (name->type == GEN_IPADD) {
            const QHostAddress address = ipAddress(bytesOf(name->d.iPAddress));
            if (!address.isNull()) {
                names.addresses.push_back(address);
            }
        }
    }
    return names;
}

template <typename List> bool containsAll(const List& list, const List& wanted)
{
    return std::all_of(wanted.begin(), wanted.end(), [&list](const auto& entry) {
        return std::find(list.begin(), list.end(), entry) != list.end();
    });
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
    const auto from = timeOf(X509_get0_notBefore(certificate.get()));
    const auto until = timeOf(X509_get0_notAfter(certificate.get()));
    auto text = pemText(*key, *certificate);
    if (!from || !until || !text) {
        return std::nullopt;
    }
    Certificate result;
    result.m_pem = std::move(*text);
    result.m_fingerprint = QString::fromLatin1(digestOf(*certificate, EVP_sha256()));
    result.m_names = namesIn(*certificate);
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

} // namespace wingbell
