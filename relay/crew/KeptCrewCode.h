#pragma once

#include "relay/crew/CrewCode.h"

#include <QString>

namespace wingbell {

class CrewFolder;

/// A code that stays from one start of the server to the next. The texts are clauses for a person.
struct KeptCrewCode
{
    CrewCode code;
    bool isNew = false;      ///< not known to any phone yet
    QString replacedBecause; ///< why a code that was there is not believed; empty otherwise
    QString problem;         ///< why it is not kept; empty when it is
};

/// The code in `folder`. Where there is none, or none that can be believed, a new one that is put
/// there.
[[nodiscard]] KeptCrewCode keptCrewCode(const CrewFolder& folder);

} // namespace wingbell
