#pragma once

#include "model/ShowFile.h"
#include "relay/osc/Announcement.h"
#include "relay/words/LineLimiter.h"
#include "relay/net/PortHolder.h"
#include "relay/words/Refusal.h"

#include <QString>

#include <chrono>
#include <optional>

namespace wingbell {

// Everything the server says, one sentence each, without a line feed at its end. Texts from
// outside stand in them as they came, but shortened.

[[nodiscard]] QString usageSentence();
[[nodiscard]] QString noShowSentence(const QString& path, const QString& problem);
[[nodiscard]] QString noSuchPortSentence(qint64 port);
/// `error` is the system's error number; `holder` is of use only when that is EADDRINUSE.
[[nodiscard]] QString
portNotOpenSentence(quint16 port, int error, const std::optional<PortHolder>& holder);

[[nodiscard]] QString onAirSentence(const ShowFile& show, quint16 port, bool takesIpv6);
[[nodiscard]] QString notYetSentence();
[[nodiscard]] QString announcedSentence(const Announcement& announcement, const QString& sender);
[[nodiscard]] QString refusedSentence(const Refusal& refusal, const QString& sender);
[[nodiscard]] QString heldBackSentence(const LineLimiter::Held& held);
[[nodiscard]] QString offAirSentence(std::chrono::milliseconds onAir);

} // namespace wingbell
