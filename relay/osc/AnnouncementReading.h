#pragma once

#include "relay/osc/Announcement.h"
#include "relay/osc/OscMessage.h"
#include "relay/words/Refusal.h"

#include <QStringList>

#include <variant>

namespace wingbell {

/// How many characters (code points) of a text are announced; the rest is cut off.
inline constexpr qsizetype longestAnnouncement = 500;

using AnnouncementReading = std::variant<Announcement, Refusal>;

/// What `message` asks to be said in a show that has `channels`, or why it is refused.
[[nodiscard]] AnnouncementReading
readAnnouncement(const OscMessage& message, const QStringList& channels);

} // namespace wingbell
