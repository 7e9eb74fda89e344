#pragma once

#include "relay/crew/SdpAnswer.h"

#include <QString>

namespace wingbell {

/// Brings the page's answer to the offer of media.
struct AnswerRequest
{
    QString session;
    SdpAnswer answer; ///< valid

    friend bool operator==(const AnswerRequest&, const AnswerRequest&) = default;
};

} // namespace wingbell
