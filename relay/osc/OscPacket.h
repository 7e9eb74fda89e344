#pragma once

#include "base/Result.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace wingbell {

/// One OSC message, as far as its arguments are needed. Its bytes come from the network: neither
/// `address` nor `text` need be valid UTF-8.
struct OscMessage
{
    QByteArray address;  ///< begins with a slash
    QByteArray typeTags; ///< one character for each argument, without the leading comma
    QByteArray text;     ///< the first argument where that is a string; otherwise empty
    std::optional<std::int32_t> number = {}; ///< the first argument where that is an int32

    friend bool operator==(const OscMessage&, const OscMessage&) = default;
};

/// Why a packet or a message cannot be read or does not ask for anything that there is.
struct OscError
{
    enum class Code : std::uint8_t {
        // of a packet
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
        // of a message
        UnknownChannel,
        NoChannelName,
        UnknownAddress,
        NoText,
        NotAString,
        SeveralArguments,
        NotUtf8,
        BlankText,
        NotAPort, ///< the last one
    };

    Code code = Code::EmptyPacket;
    /// The unknown channel or address; how many arguments there are, or what the limit is.
    QString subject = {};

    friend bool operator==(const OscError&, const OscError&) = default;
};

/// How deep bundles may be nested, and how many messages a packet may hold.
inline constexpr int maxOscBundleDepth = 8;
inline constexpr std::size_t maxOscMessages = 256;

/// The messages of a datagram in their order, those of bundles among them; time tags are ignored,
/// everything is meant for now. A packet whose bundles are malformed or beyond the limits above is
/// rejected as a whole; inside valid bundles a malformed message is rejected alone. Any bytes are
/// safe. Empty only for a bundle of nothing.
[[nodiscard]] std::vector<Result<OscMessage, OscError>> readOscPacket(QByteArrayView packet);

/// The packet of one message with strings only. `address` needs no character that OSC reserves.
[[nodiscard]] QByteArray oscMessage(const QByteArray& address, const QList<QByteArray>& strings);

} // namespace wingbell
