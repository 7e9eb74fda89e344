#pragma once

#include <QString>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace wingbell {

/// What happened. Console lines of one event are throttled together, so that a flood of one kind
/// hides no line of another.
enum class LogEvent : std::uint8_t {
    Announced,
    NotSpoken,
    Silenced,
    Signal,
    UnreadablePacket,
    UnknownAddress,
    UnknownChannel,
    WrongArguments,
    BlankText,
    NotUtf8,
    TooManyAnnouncements,
    Joined,
    Left,
    NeverConnected,
    ForgottenKey,
    DeskPage,
    WrongCode,
    TooManyConnections,
    TooManyRequests,
    TooSlow,
    NotTls,
    MalformedRequest,
    ForeignRequest,
    Unthrottled, ///< told in any case; the last one
};

inline constexpr std::size_t throttledEventCount = static_cast<std::size_t>(LogEvent::Unthrottled);

/// Everything that the server tells a person: whole lines, and reasons that stand in lines. To add
/// one, name it here and give it its row in Messages.cpp, in the same order.
enum class Message : std::uint8_t {
    // what keeps the show from going on air
    Usage,
    NeverSaved,
    NoShow,
    NoSuchPort,
    TooLarge,
    PortInUseBy,
    PortInUse,
    PortReserved,
    PortNotOpen,
    NotOnAir,
    // on air
    OnAir,
    OnAirIpv4Only,
    UnnamedShow,
    Join,
    JoinOtherwise,
    Fingerprint,
    Authority,
    JoinCard,
    DeskPage,
    NewCode,
    CodeNotSaved,
    NewCardSecret,
    CardSecretNotSaved,
    AddressesChanged,
    NewCertificate,
    CertificateNotSaved,
    NewAuthority,
    AuthorityNotSaved,
    SharedStateUnused,
    TheatreCertificate,
    TheatreCertificateUnused,
    NotConfined,
    TookOver,
    UnknownChannelOfRole,
    MoreUnknownChannels,
    NoRealTime,
    LowBattery,
    OnlyLinkLocal,
    BlockedByUfw,
    WifiPowerSaving,
    NoVoice,
    LinesDropped,
    LateAudio,
    HandedOver,
    OffAir,
    // coming and going
    Joined,
    JoinedWithoutMicrophone,
    Returned,
    Left,
    StoppedResponding,
    AudioLost,
    NeverConnected,
    ForgedCertificate,
    ForgottenKey,
    DeskOpened,
    DeskClosedKeys,
    DeskAnnounces,
    DeskSilenced,
    DesksPageAt,
    // rejected requests
    RejectedRequest,
    WrongCode,
    MustWait,
    WrongKey,
    WrongDeskKey,
    NotTls,
    OscOverTcp,
    TooManyConnections,
    TooManyFromOneAddress,
    TooManyRequests,
    TooSlow,
    MalformedRequest,
    RequestTooLarge,
    ForeignOrigin,
    UnknownHost,
    // announcements
    Announcing,
    AnnouncingCut,
    EveryChannel,
    OneChannel,
    RejectedMessage,
    RejectedPacket,
    UnknownChannel,
    NoChannelName,
    UnknownAddress,
    NoText,
    NotAString,
    SeveralArguments,
    BlankText,
    NotUtf8,
    TooManyWaiting,
    TooManyWaitingThere,
    TooMuchWaiting,
    TooMuchWaitingThere,
    QueueFull,
    TooManyASecond,
    NoChannels,
    EmptyPacket,
    NotOsc,
    UnendedAddress,
    WrongTypeTags,
    WrongArguments,
    WrongLength,
    NoTimeTag,
    UnendedBundle,
    WrongBundleLength,
    TooManyMessages,
    TooDeep,
    NotSpoken,
    Displaced,
    TooLong,
    GaveWay,
    NotInstalled,
    NotStarted,
    NothingToSay,
    NoAudio,
    NotWav,
    Hung,
    KilledBySignal,
    EndedWithStatus,
    EndedWithComplaint,
    NotConfinable,
    Silenced,
    NothingToSilence,
    CallOn,
    StandbyOn,
    GoOn,
    ClearedOn,
    LightText,
    RepliesTo,
    NotAPort,
    TooManySignals,
};

/// Where the guide explains a message.
enum class Topic : std::uint8_t { NotOnAir, OnAir, ComingAndGoing, Rejected, Announcements };

struct MessageRow
{
    Message message;
    Topic topic;
    LogEvent event;
    /// UTF-8. %1 to %9 stand for arguments, [s] for an s unless the first argument is 1.
    std::string_view text;
    /// For the guide, in Markdown: what it means, and what to do. None where the next row's goes
    /// for this one as well.
    std::string_view meaning;
};

struct EventRow
{
    LogEvent event;
    Topic topic;
    /// Whether it is something that was not done for its sender: what strangers can bring about at
    /// will.
    bool isRejection;
    std::string_view more; ///< told instead of lines that were held back; %1 is their number
};

/// All messages, and all events that are throttled, in the order of their names.
[[nodiscard]] std::span<const MessageRow> messageRows();
[[nodiscard]] std::span<const EventRow> eventRows();

/// A message with its arguments in it.
[[nodiscard]] QString messageText(Message message, const QStringList& arguments = {});
[[nodiscard]] LogEvent eventOf(Message message);

/// What is told instead of `count` lines of `event` that were held back.
[[nodiscard]] QString heldBackText(LogEvent event, quint64 count);
[[nodiscard]] bool isRejection(LogEvent event);

} // namespace wingbell
