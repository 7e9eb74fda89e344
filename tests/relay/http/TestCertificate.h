#pragma once

#include <QByteArray>

namespace wingbell {

/// A certificate that signs itself and its private key, as PEM text; a new one each time.
struct TestCertificate
{
    QByteArray certificate;
    QByteArray key;

    [[nodiscard]] QByteArray pem() const { return QByteArray(certificate).append(key); }

    [[nodiscard]] static TestCertificate make(const QByteArray& name);
};

} // namespace wingbell
