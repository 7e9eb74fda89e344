#include "relay/osc/OscRequest.h"

#include "base/LineText.h"
#include "base/Utf8.h"

#include <charconv>

namespace wingbell {

namespace {

using Code = OscError::Code;

tl::unexpected<OscError> failed(Code code, const QString& subject = {})
{
    return failure(OscError{code, subject});
}

/// Returns nullopt if a percent sign is not followed by two hexadecimal digits.
std::optional<QByteArray> percentDecoded(QByteArrayView text)
{
    QByteArray decoded;
    for (const char* at = text.begin(); at != text.end(); ++at) {
        if (*at != '%') {
            decoded.append(*at);
            continue;
        }
        unsigned char byte = 0;
        if (text.end() - at < 3 || std::from_chars(at + 1, at + 3, byte, 16).ptr != at + 3) {
            return std::nullopt;
        }
        decoded.append(static_cast<char>(byte));
        at += 2;
    }
    return decoded;
}

/// The channel that `address` names; nullopt for every channel.
Result<std::optional<QString>, OscError>
readChannel(const QByteArray& address, const QSet<QString>& channels)
{
    constexpr QByteArrayView everyChannel("/wingbell/say");
    if (address == everyChannel) {
        return std::nullopt;
    }
    if (!address.startsWith(everyChannel) || address.at(everyChannel.size()) != '/') {
        return failed(Code::UnknownAddress, QString::fromUtf8(address));
    }
    const QByteArray name = address.sliced(everyChannel.size() + 1);
    for (const std::optional<QByteArray>& bytes : {std::optional(name), percentDecoded(name)}) {
        const std::optional<QString> channel = bytes ? textIfUtf8(*bytes) : std::nullopt;
        if (channel && channels.contains(*channel)) {
            return channel;
        }
    }
    return name.isEmpty() ? failed(Code::NoChannelName)
                          : failed(Code::UnknownChannel, QString::fromUtf8(name));
}

} // namespace

Result<OscRequest, OscError>
readOscRequest(const OscMessage& message, const QSet<QString>& channels)
{
    if (message.address == "/wingbell/silence") {
        return SilenceRequest();
    }
    const auto channel = readChannel(message.address, channels);
    if (!channel) {
        return failure(channel.error());
    }
    if (message.typeTags.isEmpty()) {
        return failed(Code::NoText);
    }
    if (message.typeTags.size() > 1) {
        return failed(Code::SeveralArguments, QString::number(message.typeTags.size()));
    }
    if (message.typeTags != "s" && message.typeTags != "S") {
        return failed(Code::NotAString);
    }
    const std::optional<QString> text = textIfUtf8(message.text);
    if (!text) {
        return failed(Code::NotUtf8);
    }
    if (isBlank(*text)) {
        return failed(Code::BlankText);
    }
    const QString whole = text->trimmed();
    const QString taken = firstCharacters(whole, maxAnnouncement).toString();
    return Announcement{*channel, taken, taken.size() < whole.size()};
}

} // namespace wingbell
