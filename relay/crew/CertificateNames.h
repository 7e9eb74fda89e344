#pragma once

#include <QHostAddress>
#include <QStringList>

#include <vector>

namespace wingbell {

/// The addresses and host names that a certificate stands behind in a URL.
struct CertificateNames
{
    std::vector<QHostAddress> addresses; ///< most important first
    QStringList hostNames;               ///< likewise

    friend bool operator==(const CertificateNames&, const CertificateNames&) = default;
};

} // namespace wingbell
