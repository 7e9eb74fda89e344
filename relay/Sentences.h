#pragma once

#include "relay/net/Port.h"
#include "relay/osc/OscRequest.h"
#include "relay/sessions/CrewEvents.h"
#include "relay/sessions/ShowPatch.h"

#include <QString>

#include <optional>

namespace wingbell {

/// How many characters of a path a line shows.
inline constexpr qsizetype maxShownPath = 500;

// Messages whose arguments or whose very kind have to be found out. Texts from outside stand in
// them as they came, but shortened.

/// `error` is of openPort(); `holder` is of use only when the port is in use.
[[nodiscard]] QString portNotOpenSentence(
    PortType type, quint16 port, std::error_code error, const std::optional<PortHolder>& holder);
[[nodiscard]] QString onAirSentence(const ShowPatch& show, quint16 port, bool takesIpv6);
/// `urls`, best first, are where the crew's page answers.
[[nodiscard]] QString joinSentence(const QStringList& urls, const QString& code);
[[nodiscard]] QString announcedSentence(const Announcement& announcement, const QString& sender);
/// `channels` are none for every channel; `text` is a light's.
[[nodiscard]] QString signalSentence(
    SignalRequest::Kind kind, const QStringList& channels, const QString& text,
    const QString& sender);
[[nodiscard]] QString leftSentence(const QString& role, const QString& address, Departure why);
/// `channels` has one at least.
[[nodiscard]] QString
forgottenKeySentence(const QString& role, const QStringList& channels, std::chrono::minutes time);

/// The first of `names`, in quotation marks, and how many others there are: `kind` is what they
/// name, as in "channel". There is one at least.
[[nodiscard]] QString namesInWords(const QStringList& names, const QString& kind);

} // namespace wingbell
