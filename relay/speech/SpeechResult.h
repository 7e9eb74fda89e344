#pragma once

#include <QString>

namespace wingbell {

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

} // namespace wingbell
