#pragma once

#include <QByteArray>

#include <memory>
#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace wingbell {

/// Frees what OpenSSL gave with the function that belongs to it.
template <auto free> struct FreedWith
{
    template <typename Type> void operator()(Type* thing) const { free(thing); }
};

using BioHandle = std::unique_ptr<BIO, FreedWith<BIO_free_all>>;
using NumberHandle = std::unique_ptr<BIGNUM, FreedWith<BN_free>>;
using KeyHandle = std::unique_ptr<EVP_PKEY, FreedWith<EVP_PKEY_free>>;
using X509Handle = std::unique_ptr<X509, FreedWith<X509_free>>;
using ExtensionHandle = std::unique_ptr<X509_EXTENSION, FreedWith<X509_EXTENSION_free>>;
using GeneralNameHandle = std::unique_ptr<GENERAL_NAME, FreedWith<GENERAL_NAME_free>>;
using GeneralNamesHandle = std::unique_ptr<GENERAL_NAMES, FreedWith<GENERAL_NAMES_free>>;

/// Forgets the errors of the calls within its scope. OpenSSL keeps them for the thread, whose next
/// call would take them for its own.
class OpenSslErrorScope
{
public:
    OpenSslErrorScope() { ERR_set_mark(); }
    ~OpenSslErrorScope() { ERR_pop_to_mark(); }
    Q_DISABLE_COPY_MOVE(OpenSslErrorScope)
};

/// Reads from `bytes`, which must stay.
[[nodiscard]] inline BioHandle reading(const QByteArray& bytes)
{
    return BioHandle(BIO_new_mem_buf(bytes.constData(), static_cast<int>(bytes.size())));
}

/// The first certificate in `pem`; none where there is none.
[[nodiscard]] inline X509Handle certificateIn(const QByteArray& pem)
{
    const BioHandle source = reading(pem);
    return X509Handle(
        source ? PEM_read_bio_X509(source.get(), nullptr, nullptr, nullptr) : nullptr);
}

/// The certificate's digest as pairs of hexadecimal digits: "3F:07:...". Empty when there is none.
[[nodiscard]] inline QByteArray digestOf(const X509& certificate, const EVP_MD* hash)
{
    QByteArray digest(EVP_MAX_MD_SIZE, '\0');
    unsigned size = 0;
    if (X509_digest(&certificate, hash, reinterpret_cast<unsigned char*>(digest.data()), &size) !=
        1) {
        return {};
    }
    digest.truncate(static_cast<qsizetype>(size));
    return digest.toHex(':').toUpper();
}

} // namespace wingbell
