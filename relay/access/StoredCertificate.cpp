#include "relay/access/StoredCertificate.h"

#include "relay/access/StateDirectory.h"

namespace wingbell {

namespace {

/// Why a valid certificate must be replaced; empty when it need not be.
QString
reasonAgainst(const Certificate& certificate, const CertificateNames& names, Certificate::Time now)
{
    if (now < certificate.validFrom()) {
        return QStringLiteral("the one before is not good yet by this machine's clock");
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
