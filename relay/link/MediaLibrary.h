#pragma once

#include "relay/link/MediaLink.h"
#include "relay/link/PipelineReaper.h"
#include "relay/link/SendingThread.h"
#include "relay/link/WebRtcLink.h"

#include <QString>

namespace wingbell {

/// The media library, made ready. One for the program; outlives every link it made.
class MediaLibrary
{
public:
    explicit MediaLibrary(WebRtcLink::Settings settings);

    /// What it lacks to carry voices, for a person; nothing when it lacks nothing. At the first
    /// start of all it looks at its parts with a program of its own and writes down what it found.
    /// Starts no thread.
    [[nodiscard]] static std::optional<QString> problem();

    /// A new link, or nothing when the machine has no room for one.
    [[nodiscard]] std::shared_ptr<MediaLink> makeLink(RtpReceiver receiver);

private:
    WebRtcLink::Settings m_settings;
    PipelineReaper m_reaper;
    SendingThread m_sending;
};

} // namespace wingbell
