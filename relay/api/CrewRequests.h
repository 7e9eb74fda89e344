#pragma once

#include "base/Result.h"
#include "relay/api/SdpAnswer.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QtGlobal>

#include <cstddef>
#include <optional>
#include <vector>

namespace wingbell {

// The JSON bodies of the crew's requests.

/// Asks with the crew's code for the roles or for the card.
struct CodeRequest
{
    QString code;

    friend bool operator==(const CodeRequest&, const CodeRequest&) = default;
};

/// Asks to take a role.
struct JoinRequest
{
    QString code;
    QString role; ///< its key
    bool microphone = false;
    std::optional<QString> replaces; ///< the session that this one follows

    friend bool operator==(const JoinRequest&, const JoinRequest&) = default;
};

/// Brings the page's answer to the offer of media.
struct AnswerRequest
{
    QString session;
    SdpAnswer answer; ///< valid

    friend bool operator==(const AnswerRequest&, const AnswerRequest&) = default;
};

/// Tells which keys are pressed and what is listened to. Whether the channels exist is not known
/// here.
struct StateRequest
{
    QString session;
    quint64 number = 0;        ///< grows with every state of a session
    std::vector<int> talk;     ///< channels spoken on: ascending, each once, none negative
    std::vector<float> levels; ///< for every channel, from 0 (muted) to 1

    friend bool operator==(const StateRequest&, const StateRequest&) = default;
};

/// Ends a session.
struct LeaveRequest
{
    QString session;

    friend bool operator==(const LeaveRequest&, const LeaveRequest&) = default;
};

/// Why a request's body is refused.
enum class RequestBodyError {
    TooLarge,
    NoJson,     ///< broken, not UTF-8, more than one value, or nested too deeply
    NoObject,   ///< JSON, but no object
    WrongType,  ///< a member is of another type than it must be
    Missing,    ///< a member that must be there is not
    Twice,      ///< a member stands there twice
    OutOfRange, ///< a number is
    TooLong,    ///< a text or a list is
    BadAnswer,  ///< a word of an SDP answer is not valid
};

/// The word that the page gets as "error".
[[nodiscard]] QByteArray wordFor(RequestBodyError error);

/// In bytes.
inline constexpr qsizetype maxRequestSize = 65536;
inline constexpr std::size_t maxRequestWord = 64; ///< a code, a key, a session
inline constexpr std::size_t maxAnswerWord = 256; ///< what RFC 8839 allows at most

/// How many channels a state may tell of.
inline constexpr std::size_t maxStateChannels = 1024;

/// What pages can count to without leaving a number out: 2^53.
inline constexpr quint64 maxStateNumber = 9007199254740992;

// They take any bytes whatever. Unknown members must be JSON and are ignored; null counts as
// missing.

[[nodiscard]] Result<CodeRequest, RequestBodyError> readCodeRequest(QByteArrayView body);
[[nodiscard]] Result<JoinRequest, RequestBodyError> readJoinRequest(QByteArrayView body);
[[nodiscard]] Result<AnswerRequest, RequestBodyError> readAnswerRequest(QByteArrayView body);
[[nodiscard]] Result<StateRequest, RequestBodyError> readStateRequest(QByteArrayView body);
[[nodiscard]] Result<LeaveRequest, RequestBodyError> readLeaveRequest(QByteArrayView body);

} // namespace wingbell
