#pragma once

#include <QByteArray>
#include <QSslConfiguration>

#include <optional>

namespace wingbell {

/// How this server speaks TLS: 1.2 or later, authenticated encryption only, HTTP/1.1 inside, no
/// renegotiation, no sessions kept, no certificate asked of a client.
///
/// `pem`: a certificate with a key on an elliptic curve, further certificates of its chain behind
/// it, and the private key. nullopt if there is no such thing in it, or if TLS cannot be set up.
///
/// Loads what Qt and OpenSSL need from the disk, so that TLS needs no files later on.
[[nodiscard]] std::optional<QSslConfiguration> tlsConfiguration(const QByteArray& pem);

} // namespace wingbell
