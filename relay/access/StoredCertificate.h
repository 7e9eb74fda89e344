#pragma once

#include "relay/access/Certificate.h"

#include <QString>

#include <optional>

namespace wingbell {

class StateDirectory;

/// A certificate that stays from one start of the server to the next. The texts are clauses for a
/// person, empty where there is nothing to tell.
struct StoredCertificate
{
    Certificate certificate;
    QString newBecause;       ///< of a new one: the crew must accept it again
    QString notStoredBecause; ///< of a new one
};

/// The certificate in `folder`, while it is valid, covers `names` and stays good for a while;
/// otherwise a new one that is put there. A new one goes on covering what the one before it did, as
/// far as there is room, so that a machine that goes to and fro between networks is accepted once.
/// Nothing when OpenSSL fails.
[[nodiscard]] std::optional<StoredCertificate> loadOrCreateCertificate(
    const StateDirectory& folder, const CertificateNames& names, Certificate::Time now);

} // namespace wingbell
