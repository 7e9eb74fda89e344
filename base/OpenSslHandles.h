#pragma once

#include <QtGlobal>

#include <memory>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

namespace wingbell {

/// Calls the function that frees what OpenSSL gave.
template <auto free> struct FreedWith
{
    template <typename Type> void operator()(Type* thing) const { free(thing); }
};

/// Owns what OpenSSL gave; null where it gave nothing.
template <typename Type, auto free> using OpenSslHandle = std::unique_ptr<Type, FreedWith<free>>;

using KeyHandle = OpenSslHandle<EVP_PKEY, EVP_PKEY_free>;
using X509Handle = OpenSslHandle<X509, X509_free>;

/// Forgets the errors of the calls within its scope. OpenSSL keeps them for the thread, whose next
/// call would take them for its own.
class OpenSslErrorScope
{
public:
    OpenSslErrorScope() { ERR_set_mark(); }
    ~OpenSslErrorScope() { ERR_pop_to_mark(); }
    Q_DISABLE_COPY_MOVE(OpenSslErrorScope)
};

} // namespace wingbell
