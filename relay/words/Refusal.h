#pragma once

#include "relay/words/LineCause.h"

#include <QString>

namespace wingbell {

/// Why something that came over the network is not done.
struct Refusal
{
    LineCause cause = LineCause::Unreadable;
    QString reason; ///< for a person; a clause without a capital or a full stop

    friend bool operator==(const Refusal&, const Refusal&) = default;
};

} // namespace wingbell
