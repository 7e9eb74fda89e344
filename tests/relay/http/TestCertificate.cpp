#include "TestCertificate.h"

#include <memory>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

namespace wingbell {

namespace {

using Bio = std::unique_ptr<BIO, int (*)(BIO*)>;

QByteArray textIn(const Bio& bio)
{
    char* data = nullptr;
    const auto size = BIO_get_mem_data(bio.get(), &data);
    return {data, static_cast<qsizetype>(size)};
}

} // namespace

TestCertificate TestCertificate::make(const QByteArray& name)
{
    constexpr long day = 86400;
    const std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> key(EVP_EC_gen("P-256"), EVP_PKEY_free);
    const std::unique_ptr<X509, void (*)(X509*)> certificate(X509_new(), X509_free);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -day);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), day);
    X509_set_pubkey(certificate.get(), key.get());
    X509_NAME* subject = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(
        subject, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(name.constData()), -1,
        -1, 0);
    X509_set_issuer_name(certificate.get(), subject);
    X509_sign(certificate.get(), key.get(), EVP_sha256());
    const Bio certificateText(BIO_new(BIO_s_mem()), BIO_free);
    PEM_write_bio_X509(certificateText.get(), certificate.get());
    const Bio keyText(BIO_new(BIO_s_mem()), BIO_free);
    PEM_write_bio_PrivateKey(keyText.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    return {textIn(certificateText), textIn(keyText)};
}

} // namespace wingbell
