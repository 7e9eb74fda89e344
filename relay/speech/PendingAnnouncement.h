#pragma once

#include "relay/audio/ChannelSet.h"

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

} // namespace wingbell
