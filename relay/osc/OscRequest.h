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

/// Calls the crew of a channel, or shows or clears its cue light.
struct SignalRequest
{
    enum class Kind { Call, Standby, Go, Clear };

    Kind kind = Kind::Call;
    std::optional<QString> channel; ///< the one channel it is for; none means every channel
    QString text = {};              ///< of a light, without white space around it; often empty

    friend bool operator==(const SignalRequest&, const SignalRequest&) = default;
};

/// Asks that acknowledgements are sent to a UDP port of its sender.
struct ReplyRequest
{
    quint16 port = 0;

    friend bool operator==(const ReplyRequest&, const ReplyRequest&) = default;
};

using OscRequest = std::variant<Announcement, SilenceRequest, SignalRequest, ReplyRequest>;

/// How many characters (code points) of a text are announced; the rest is cut off.
inline constexpr qsizetype maxAnnouncement = 500;
/// The same of the text of a cue light.
inline constexpr qsizetype maxLightText = 60;

/// What `message` asks for in a show that has `channels`.
///
/// "/wingbell/say" is for every channel; "/wingbell/say/" and a name for that one. The name is all
/// that follows, slashes and pattern characters among it; it is compared exactly, first as it is
/// and then percent-decoded, so that a channel called "100%25" can be reached. With an invalid
/// percent sequence only the name as it is counts. "/wingbell/call", "/wingbell/standby",
/// "/wingbell/go" and "/wingbell/clear" name channels in the same way; a light may have a text or a
/// number. "/wingbell/reply" brings a port. "/wingbell/silence" is the request for silence.
/// Arguments of calls, clear and silence are ignored.
[[nodiscard]] Result<OscRequest, OscError>
readOscRequest(const OscMessage& message, const QSet<QString>& channels);

} // namespace wingbell
