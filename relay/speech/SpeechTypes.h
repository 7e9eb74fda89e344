#pragma once

#include "relay/audio/ChannelSet.h"

#include <QString>

#include <chrono>
#include <cstdint>
#include <string>

namespace wingbell {

/// A text that is to be spoken on some channels.
struct PendingAnnouncement
{
    std::uint64_t id = 0; ///< the caller's; no two that are waiting or speaking may share one
    ChannelSet channels;  ///< of the show's number of channels
    std::string text;     ///< UTF-8
    std::string sender;   ///< who asked for it: equal texts are the same sender

    friend bool operator==(const PendingAnnouncement&, const PendingAnnouncement&) = default;
};

/// How long a speech program and what it says may take.
struct SpeechLimits
{
    /// How long it may do nothing at all before it counts as hung.
    std::chrono::milliseconds silence = std::chrono::seconds(2);
    /// How long it may take in all before it counts as hung.
    std::chrono::milliseconds total = std::chrono::seconds(15);
    /// How much of the sound is played; the rest is cut off.
    std::chrono::milliseconds sound = std::chrono::seconds(90);
    /// How much of it is played while another sender waits for one of its channels.
    std::chrono::milliseconds hold = std::chrono::seconds(20);
};

enum class SpeechEnd {
    Spoken,  ///< all of it
    Cut,     ///< only its beginning: it was too long
    Failed,  ///< nothing of it, or only a beginning
    GaveWay, ///< only its beginning: it was long, and another sender waited
    Stopped, ///< its sender silenced it, or the show ends
};

/// What came of speaking a text.
struct SpeechResult
{
    SpeechEnd end = SpeechEnd::Spoken;
    QString reason; ///< of a failure, for a person; a clause without a capital or a full stop

    friend bool operator==(const SpeechResult&, const SpeechResult&) = default;
};

/// What became of an announcement.
struct SpeechReport
{
    PendingAnnouncement announcement;
    SpeechResult result; ///< Stopped when its sender silenced it
};

} // namespace wingbell
