#pragma once

#include "relay/api/CrewResponses.h"

#include <QString>

#include <chrono>

namespace wingbell {

// What a Crew tells others. Main thread only.

/// The event stream to the page of one crew member.
class PageEvents
{
public:
    virtual ~PageEvents() = default;

    virtual void desk(const DeskEvent& desk) = 0;
    /// If the crew has to join again, the first tries are to be spread over `retryWindow`.
    virtual void heartbeat(std::chrono::milliseconds retryWindow) = 0;
    /// No audio comes from its microphone although a key is pressed.
    virtual void unheard() = 0;
    /// The last event.
    virtual void goodbye(Goodbye reason) = 0;
};

/// Why a crew member is gone.
enum class Departure {
    Left,       ///< said so
    Vanished,   ///< no sign of life
    NeverCame,  ///< got an offer but did not connect
    LinkBroken, ///< the media connection broke and did not come back
    Forged,     ///< came with another certificate than its answer promised
};

/// Is told who comes and goes, for the log.
class CrewObserver
{
public:
    virtual ~CrewObserver() = default;

    /// A crew member at `address` has connected as `role`, and can be heard or only listens.
    virtual void joined(const QString& role, const QString& address, bool microphone) = 0;
    /// The same one again, after its connection was lost.
    virtual void returned(const QString& role, const QString& address) = 0;
    virtual void left(const QString& role, const QString& address, Departure why) = 0;
};

} // namespace wingbell
