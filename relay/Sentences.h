#pragma once

#include "model/ShowFile.h"
#include "relay/net/PortHolder.h"
#include "relay/osc/Announcement.h"
#include "relay/sessions/CrewNews.h"
#include "relay/sessions/ShowPatch.h"
#include "relay/words/LineLimiter.h"
#include "relay/words/Refusal.h"

#include <QString>

#include <chrono>
#include <optional>

namespace wingbell {

enum class PortKind { Udp, Tcp };

// Everything the server says, one sentence each, without a line feed at its end. Texts from
// outside stand in them as they came, but shortened.

[[nodiscard]] QString usageSentence();
/// For a file that does not exist.
[[nodiscard]] QString neverSavedSentence(const QString& path);
[[nodiscard]] QString noShowSentence(const QString& path, const QString& problem);
[[nodiscard]] QString noSuchPortSentence(qint64 port);
[[nodiscard]] QString tooLargeSentence(const QString& what, qsizetype most);
/// `error` is the system's error number; `holder` is of use only when that is EADDRINUSE.
[[nodiscard]] QString portNotOpenSentence(
    PortKind kind, quint16 port, int error, const std::optional<PortHolder>& holder);
/// For whatever else keeps the show from going on air; `problem` is a clause.
[[nodiscard]] QString notOnAirSentence(const QString& problem);

[[nodiscard]] QString onAirSentence(const ShowPatch& show, quint16 port, bool takesIpv6);
/// `urls`, best first, are where the crew's page answers.
[[nodiscard]] QString joinSentence(const QStringList& urls, const QString& code);
[[nodiscard]] QString fingerprintSentence(const QString& fingerprint);
[[nodiscard]] QString cardSentence(const QString& url);
/// That the stored code is not used any more; `reason` is a clause.
[[nodiscard]] QString newCodeSentence(const QString& reason);
/// That the crew code, or the certificate, could not be kept; `problem` is a clause.
[[nodiscard]] QString codeNotKeptSentence(const QString& problem);
[[nodiscard]] QString certificateNotKeptSentence(const QString& problem);
/// That browsers will ask about the certificate again; `reason` is a clause.
[[nodiscard]] QString newCertificateSentence(const QString& reason);
/// That the kernel lacks what `lacking` names: "no Landlock".
[[nodiscard]] QString notConfinedSentence(const QStringList& lacking);
[[nodiscard]] QString straySentence(const ShowPatch::Stray& stray);
/// `more` strays that are not told one by one.
[[nodiscard]] QString moreStraysSentence(qsizetype more);

[[nodiscard]] QString announcedSentence(const Announcement& announcement, const QString& sender);
/// `count` announcements that `sender` had asked for are silenced.
[[nodiscard]] QString silencedSentence(std::size_t count, const QString& sender);
[[nodiscard]] QString notSpokenSentence(const QString& text, const QString& reason);
[[nodiscard]] QString refusedSentence(const Refusal& refusal, const QString& sender);
[[nodiscard]] QString joinedSentence(const QString& role, const QString& address, bool microphone);
[[nodiscard]] QString returnedSentence(const QString& role, const QString& address);
[[nodiscard]] QString leftSentence(const QString& role, const QString& address, Departure why);
/// That somebody who uses the crew's page, or ought not to, was turned away; `reason` is a clause.
[[nodiscard]] QString turnedAwaySentence(const QString& address, const QString& reason);
[[nodiscard]] QString heldBackSentence(const LineLimiter::Held& held);

/// `late` of `ticks` of the mix came late.
[[nodiscard]] QString lateTicksSentence(quint64 late, quint64 ticks);
[[nodiscard]] QString offAirSentence(std::chrono::milliseconds onAir);

} // namespace wingbell
