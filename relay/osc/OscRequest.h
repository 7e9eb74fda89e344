#pragma once

#include "base/Result.h"
#include "relay/osc/OscPacket.h"

#include <QSet>
#include <QString>

#include <optional>
#include <variant>

namespace wingbell {

/// A text that is to be said.
struct Announcement
{
    std::optional<QString> channel; ///< the one channel it is for; none means every channel
    QString text;                   ///< never blank, without white space around it
    bool cut = false;               ///< true when `text` is only the beginning of what was asked

    friend bool operator==(const Announcement&, const Announcement&) = default;
};

/// Asks that what its sender has announced stops and that what waits of it is dropped.
struct SilenceRequest
{
    friend bool operator==(const SilenceRequest&, const SilenceRequest&) = default;
};

using OscRequest = std::variant<Announcement, SilenceRequest>;

/// How many characters (code points) of a text are announced; the rest is cut off.
inline constexpr qsizetype maxAnnouncement = 500;

/// What `message` asks for in a show that has `channels`.
///
/// "/wingbell/say" is for every channel; "/wingbell/say/" and a name for that one. The name is all
/// that follows, slashes and pattern characters among it; it is compared exactly, first as it is
/// and then percent-decoded, so that a channel called "100%25" can be reached. With an invalid
/// percent sequence only the name as it is counts. "/wingbell/silence" is the request for silence,
/// whose arguments are ignored.
[[nodiscard]] Result<OscRequest, OscError>
readOscRequest(const OscMessage& message, const QSet<QString>& channels);

} // namespace wingbell
