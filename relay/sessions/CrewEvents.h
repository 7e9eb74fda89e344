#pragma once

#include "relay/api/CrewResponses.h"

namespace wingbell {

/// Where a crew member learns what happens. Main thread only.
class CrewEvents
{
public:
    virtual ~CrewEvents() = default;

    virtual void desk(const DeskEvent& desk) = 0;
    virtual void beat() = 0;
    /// No sound comes from its microphone although a key is pressed.
    virtual void unheard() = 0;
    /// The last thing it is told.
    virtual void goodbye(Goodbye reason) = 0;
};

} // namespace wingbell
