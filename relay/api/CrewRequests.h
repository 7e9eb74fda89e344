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

// The JSON bodies of the requests of the crew's pages and of the desk's own.

/// By what a person may join: the crew's code, or the key of a scanned card. Alone, it asks for the
/// roles or for the card.
struct Credential
{
    QString code;
    QString key;      ///< if not empty, it counts instead of the code
    QString cardRole; ///< the role of the card that has the key; empty if unknown or the door's

    friend bool operator==(const Credential&, const Credential&) = default;
};

/// Asks to take a role.
struct JoinRequest
{
    Credential credential;
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

/// What a page tells of its device and of its line to the desk, as far as its browser knows.
struct PageReport
{
    enum class Screen {
        Unknown,
        KeptOn,  ///< it cannot lock
        MayLock, ///< the browser cannot keep it on
        Hidden,  ///< it is locked, or another page is in front
    };

    Screen screen = Screen::Unknown;
    std::optional<double> battery; ///< from 0 to 1
    bool isCharging = false;
    std::optional<double> loss;  ///< share of lost packets, from 0 to 1, of the worse direction
    std::optional<double> delay; ///< there and back, in milliseconds

    friend bool operator==(const PageReport&, const PageReport&) = default;
};

/// Tells which keys are pressed and what is listened to. Whether the channels exist is not known
/// here.
struct StateRequest
{
    QString session;
    quint64 number = 0;        ///< grows with every state of a session
    std::vector<int> talk;     ///< channels spoken on: ascending, each once, none negative
    std::vector<float> levels; ///< for every channel, from 0 (muted) to 1
    quint64 closings = 0;      ///< how often the page has let go of its keys for the desk
    PageReport report = {};

    friend bool operator==(const StateRequest&, const StateRequest&) = default;
};

/// Brings nothing but the session: to leave it, or to silence every announcement from the desk's
/// page.
struct SessionRequest
{
    QString session;

    friend bool operator==(const SessionRequest&, const SessionRequest&) = default;
};

/// Begins or ends a call on a channel of the role.
struct CallRequest
{
    QString session;
    int channel = 0; ///< its place among the role's own; whether it exists is not known here
    bool on = true;
};

/// Acknowledges the call, or the light, on a channel of the role.
struct AcknowledgeRequest
{
    QString session;
    int channel = 0;
    bool isCall = false; ///< otherwise the light
};

/// Opens the desk's page.
struct DeskOpenRequest
{
    QString key;
};

/// Closes talk keys from the desk's page.
struct CloseKeysRequest
{
    QString session;
    std::optional<quint32> member; ///< everybody's without one
};

/// From the desk's page: something for these channels of the show. Whether they exist is not known
/// here.
struct ChannelsRequest
{
    QString session;
    std::vector<int> channels; ///< ascending, each once, none negative
    QString text;              ///< empty without one
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
inline constexpr std::size_t maxRequestWord = 64;  ///< a code, a key, a session
inline constexpr std::size_t maxSpokenText = 2000; ///< of the desk's page
inline constexpr std::size_t maxAnswerWord = 256;  ///< what RFC 8839 allows at most

/// How many channels a state may tell of.
inline constexpr std::size_t maxStateChannels = 1024;

/// What pages can count to without leaving a number out: 2^53.
inline constexpr quint64 maxStateNumber = 9007199254740992;

// They take any bytes whatever. Unknown members must be JSON and are ignored; null counts as
// missing.

/// The role of a card is the member "cardRole", or "role" if there is none.
[[nodiscard]] Result<Credential, RequestBodyError> readCredential(QByteArrayView body);
[[nodiscard]] Result<JoinRequest, RequestBodyError> readJoinRequest(QByteArrayView body);
[[nodiscard]] Result<AnswerRequest, RequestBodyError> readAnswerRequest(QByteArrayView body);
[[nodiscard]] Result<StateRequest, RequestBodyError> readStateRequest(QByteArrayView body);
[[nodiscard]] Result<SessionRequest, RequestBodyError> readSessionRequest(QByteArrayView body);
[[nodiscard]] Result<CallRequest, RequestBodyError> readCallRequest(QByteArrayView body);
[[nodiscard]] Result<AcknowledgeRequest, RequestBodyError>
readAcknowledgeRequest(QByteArrayView body);
[[nodiscard]] Result<DeskOpenRequest, RequestBodyError> readDeskOpenRequest(QByteArrayView body);
[[nodiscard]] Result<CloseKeysRequest, RequestBodyError> readCloseKeysRequest(QByteArrayView body);
[[nodiscard]] Result<ChannelsRequest, RequestBodyError> readChannelsRequest(QByteArrayView body);

} // namespace wingbell
