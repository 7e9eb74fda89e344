#include "relay/crew/KeptCertificate.h"

#include "relay/crew/CrewFolder.h"

namespace wingbell {

namespace {

/// Why a sound certificate must be replaced; empty when it need not be.
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

QString reasonAgainst(const CrewFolder::Reading& reading)
{
    if (reading.bytes) {
        return QStringLiteral("the one before is damaged");
    }
    return reading.problem.isEmpty() ? QStringLiteral("there was none") : reading.problem;
}

/// `names` first: where there is no room for all, they count most.
CertificateNames withOlder(CertificateNames names, const CertificateNames& older)
{
    names.addresses.insert(names.addresses.end(), older.addresses.begin(), older.addresses.end());
    names.hostNames.append(older.hostNames);
    return names;
}

} // namespace

KeptCertificate
keptCertificate(const CrewFolder& folder, const CertificateNames& names, Certificate::Time now)
{
    const QString file = QStringLiteral("certificate.pem");
    const CrewFolder::Reading reading = folder.read(file);
    auto before = reading.bytes ? Certificate::fromPem(*reading.bytes) : std::nullopt;
    KeptCertificate kept;
    kept.newBecause = before ? reasonAgainst(*before, names, now) : reasonAgainst(reading);
    if (before && kept.newBecause.isEmpty()) {
        kept.certificate = std::move(before);
        return kept;
    }
    kept.certificate = Certificate::make(before ? withOlder(names, before->names()) : names, now);
    if (kept.certificate) {
        kept.problem = folder.write(file, kept.certificate->pem()).value_or(QString());
    }
    return kept;
}

} // namespace wingbell
