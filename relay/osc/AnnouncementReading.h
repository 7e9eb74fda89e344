#pragma once

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

/// Asks that what its sender has announced stops and what still waits of it is forgotten.
struct SilenceRequest
{
};

/// How many characters (code points) of a text are announced; the rest is cut off.
inline constexpr qsizetype longestAnnouncement = 500;

using AnnouncementReading = std::variant<Announcement, SilenceRequest, OscError>;

/// What `message` asks for in a show that has `channels`, or why it is rejected. The arguments of a
/// request for silence are ignored.
[[nodiscard]] AnnouncementReading
readAnnouncement(const OscMessage& message, const QSet<QString>& channels);

} // namespace wingbell
