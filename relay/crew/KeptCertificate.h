#pragma once

#include "relay/crew/Certificate.h"

#include <QString>

#include <optional>

namespace wingbell {

class CrewFolder;

/// A certificate that stays from one start of the server to the next. The texts are clauses for a
/// person, empty where there is nothing to tell.
struct KeptCertificate
{
    std::optional<Certificate> certificate; ///< missing only when OpenSSL fails
    QString newBecause;                     ///< of a new one: the crew must accept it anew
    QString problem;                        ///< why it is not kept
};

/// The certificate in `folder`, while it is sound, covers `names` and stays good for a while;
/// otherwise a new one that is put there. A new one goes on covering what the one before it did, as
/// far as there is room, so that a machine that goes to and fro between networks is accepted once.
[[nodiscard]] KeptCertificate
keptCertificate(const CrewFolder& folder, const CertificateNames& names, Certificate::Time now);

} // namespace wingbell
