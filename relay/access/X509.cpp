#include "relay/access/X509.h"

#include <QCryptographicHash>
#include <QRandomGenerator>

#include <array>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <string_view>

namespace wingbell {

namespace {

using BioHandle = OpenSslHandle<BIO, BIO_free_all>;
using NumberHandle = OpenSslHandle<BIGNUM, BN_free>;
using ExtensionHandle = OpenSslHandle<X509_EXTENSION, X509_EXTENSION_free>;

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

bool setNames(X509& certificate, const QByteArray& commonName, const X509* issuer)
{
    X509_NAME* const subject = X509_get_subject_name(&certificate);
    return X509_NAME_add_entry_by_txt(
               subject, "CN", MBSTRING_UTF8,
               reinterpret_cast<const unsigned char*>(commonName.constData()),
               static_cast<int>(commonName.size()), -1, 0) == 1 &&
           X509_set_issuer_name(
               &certificate, issuer == nullptr ? subject : X509_get_subject_name(issuer)) == 1;
}

bool setValidity(X509& certificate, CertificateTime from, CertificateTime until)
{
    using Clock = std::chrono::system_clock;
    return ASN1_TIME_set(X509_getm_notBefore(&certificate), Clock::to_time_t(from)) != nullptr &&
           ASN1_TIME_set(X509_getm_notAfter(&certificate), Clock::to_time_t(until)) != nullptr;
}

bool addExtension(X509& certificate, const X509* issuer, int kind, const QByteArray& value)
{
    X509V3_CTX context = {};
    X509V3_set_ctx(
        &context, issuer == nullptr ? &certificate : const_cast<X509*>(issuer), &certificate,
        nullptr, nullptr, 0);
    const ExtensionHandle extension(
        X509V3_EXT_conf_nid(nullptr, &context, kind, value.constData()));
    return extension && X509_add_ext(&certificate, extension.get(), -1) == 1;
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

} // namespace

KeyHandle newKey()
{
    return KeyHandle(EVP_EC_gen("P-256"));
}

X509Handle signedCertificate(
    const CertificateContents& contents, EVP_PKEY& key, const X509* issuer, EVP_PKEY& issuerKey)
{
    X509Handle certificate(X509_new());
    if (!certificate || X509_set_version(certificate.get(), X509_VERSION_3) != 1 ||
        !setSerial(*certificate) || !setNames(*certificate, contents.commonName, issuer) ||
        !setValidity(*certificate, contents.from, contents.until) ||
        X509_set_pubkey(certificate.get(), &key) != 1) {
        return nullptr;
    }
    for (const auto& [kind, value] : contents.extensions) {
        if (!addExtension(*certificate, issuer, kind, value)) {
            return nullptr;
        }
    }
    return X509_sign(certificate.get(), &issuerKey, EVP_sha256()) != 0 ? std::move(certificate)
                                                                       : nullptr;
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

std::optional<CertificateTime> timeOf(const ASN1_TIME* time)
{
    std::tm calendar = {};
    if (ASN1_TIME_to_tm(time, &calendar) != 1) {
        return std::nullopt;
    }
    return std::chrono::system_clock::from_time_t(::timegm(&calendar));
}

QString fingerprintOf(const QByteArray& der)
{
    const QByteArray digest = QCryptographicHash::hash(der, QCryptographicHash::Sha256);
    return QString::fromLatin1(digest.toHex(':').toUpper());
}

QByteArray derOf(const X509& certificate)
{
    unsigned char* bytes = nullptr;
    const int size = i2d_X509(&certificate, &bytes);
    if (size < 0) {
        return {};
    }
    const OpenSslHandle<
        unsigned char,
        [](unsigned char* memory) {
            OPENSSL_free(memory);
        }>
        owner(bytes);
    return QByteArray(reinterpret_cast<const char*>(bytes), size);
}

} // namespace wingbell
