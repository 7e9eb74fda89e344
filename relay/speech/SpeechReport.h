#pragma once

#include "relay/speech/PendingAnnouncement.h"
#include "relay/speech/SpeechResult.h"

namespace wingbell {

/// What became of an announcement.
struct SpeechReport
{
    PendingAnnouncement announcement;
    SpeechResult result; ///< Stopped when its sender silenced it
};

} // namespace wingbell
