#pragma once

#include "relay/osc/Announcement.h"
#include "relay/osc/OscMessage.h"
#include "relay/osc/SilenceRequest.h"
#include "relay/words/Refusal.h"

#include <QSet>
#include <QString>

#include <variant>

namespace wingbell {

/// How many characters (code points) of a text are announced; the rest is cut off.
inline constexpr qsizetype longestAnnouncement = 500;

using AnnouncementReading = std::variant<Announcement, SilenceRequest, Refusal>;

/// What `message` asks for in a show that has `channels`, or why it is refused. The arguments of a
/// request for silence are ignored.
[[nodiscard]] AnnouncementReading
readAnnouncement(const OscMessage& message, const QSet<QString>& channels);

} // namespace wingbell
