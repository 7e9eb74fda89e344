#pragma once

#include "relay/api/CrewResponses.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <vector>

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
    /// Talk keys on these channels of its role are on, and no speech has come for long.
    virtual void forgotten(const std::vector<int>& channels) = 0;
    /// An announcement with this text begins on a channel on which its role listens.
    virtual void announcement(const QString& text) = 0;
    /// The desk has closed the talk keys for the `count`th time in this session. They stay closed
    /// until a state tells that the page knows.
    virtual void keysClosed(quint64 count) = 0;
    /// The last event, as is the next one.
    virtual void goodbye(Goodbye reason) = 0;
    /// Another server takes over: the page is to join again after `retryAfter`.
    virtual void handedOver(std::chrono::milliseconds retryAfter) = 0;
};

/// Why a crew member is gone.
enum class Departure {
    Left,       ///< said so, or hung up and said nothing more
    Vanished,   ///< no sign of life
    NeverCame,  ///< got an offer but did not connect
    LinkBroken, ///< the media connection broke and did not come back
    Forged,     ///< came with another certificate than its answer promised
};

/// Is told who comes and goes, who calls, and whose talk keys stay on unused, for the log.
class CrewObserver
{
public:
    virtual ~CrewObserver() = default;

    /// A crew member at `address` has connected as `role`, and can be heard or only listens.
    virtual void joined(const QString& role, const QString& address, bool microphone) = 0;
    /// The same one again, after its connection was lost.
    virtual void returned(const QString& role, const QString& address) = 0;
    virtual void left(const QString& role, const QString& address, Departure why) = 0;
    /// `role` has kept its talk keys on these channels on for so long without speech.
    virtual void
    keptKeysOn(const QString& role, const QStringList& channels, std::chrono::minutes time) = 0;
    /// A member with that role calls all who listen on the channel.
    virtual void called(const QString& role, const QString& channel) = 0;
};

} // namespace wingbell
