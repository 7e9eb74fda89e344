#pragma once

#include "relay/speech/PendingAnnouncement.h"
#include "relay/speech/SpeechResult.h"

namespace wingbell {

/// What became of an announcement.
struct SpeechReport
{
    PendingAnnouncement announcement;
    SpeechResult result; ///< never Stopped
};

} // namespace wingbell
