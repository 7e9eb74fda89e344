#pragma once

#include "relay/net/Port.h"
#include "relay/osc/OscRequest.h"
#include "relay/sessions/CrewEvents.h"
#include "relay/sessions/ShowPatch.h"

#include <QString>

#include <optional>

namespace wingbell {

enum class PortKind { Udp, Tcp };

/// How many characters of a path a line shows.
inline constexpr qsizetype maxShownPath = 500;

// Messages whose arguments or whose very kind have to be found out. Texts from outside stand in
// them as they came, but shortened.

/// `error` is the system's error number; `holder` is of use only when that is EADDRINUSE.
[[nodiscard]] QString portNotOpenSentence(
    PortKind kind, quint16 port, int error, const std::optional<PortHolder>& holder);
[[nodiscard]] QString onAirSentence(const ShowPatch& show, quint16 port, bool takesIpv6);
/// `urls`, best first, are where the crew's page answers.
[[nodiscard]] QString joinSentence(const QStringList& urls, const QString& code);
[[nodiscard]] QString announcedSentence(const Announcement& announcement, const QString& sender);
[[nodiscard]] QString leftSentence(const QString& role, const QString& address, Departure why);

} // namespace wingbell
