#include "relay/osc/OscRequest.h"

#include "base/LineText.h"
#include "base/Utf8.h"

#include <charconv>
#include <limits>
#include <utility>
#include <vector>

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

/// The channel that `address` names behind `everyChannel`; nullopt for every channel.
Result<std::optional<QString>, OscError>
readChannel(const QByteArray& address, QByteArrayView everyChannel, const QSet<QString>& channels)
{
    if (address == everyChannel) {
        return std::nullopt;
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

/// The only argument, a string.
Result<QString, OscError> readText(const OscMessage& message)
{
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
    return text->trimmed();
}

Result<OscRequest, OscError>
readAnnouncement(const OscMessage& message, const std::optional<QString>& channel)
{
    const auto text = readText(message);
    if (!text) {
        return failure(text.error());
    }
    if (isBlank(*text)) {
        return failed(Code::BlankText);
    }
    const QString taken = firstCharacters(*text, maxAnnouncement).toString();
    return Announcement{channel, taken, taken.size() < text->size()};
}

Result<OscRequest, OscError> readSignal(
    SignalRequest::Kind kind, const OscMessage& message, const std::optional<QString>& channel)
{
    SignalRequest request{kind, channel};
    const bool isLight = kind == SignalRequest::Kind::Standby || kind == SignalRequest::Kind::Go;
    if (!isLight || message.typeTags.isEmpty()) {
        return request;
    }
    if (message.typeTags == "i" && message.number) {
        request.text = QString::number(*message.number);
        return request;
    }
    const auto text = readText(message);
    if (!text) {
        return failure(text.error());
    }
    request.text = firstCharacters(*text, maxLightText).toString();
    return request;
}

Result<OscRequest, OscError> readReply(const OscMessage& message)
{
    if (message.typeTags != "i" || !message.number || *message.number < 1 ||
        *message.number > std::numeric_limits<quint16>::max()) {
        return failed(Code::NotAPort);
    }
    return ReplyRequest{static_cast<quint16>(*message.number)};
}

} // namespace

Result<OscRequest, OscError>
readOscRequest(const OscMessage& message, const QSet<QString>& channels)
{
    if (message.address == "/wingbell/silence") {
        return SilenceRequest();
    }
    if (message.address == "/wingbell/reply") {
        return readReply(message);
    }
    using Kind = SignalRequest::Kind;
    static const std::vector<std::pair<QByteArray, std::optional<Kind>>> addresses = {
        {"/wingbell/say", std::nullopt},
        {"/wingbell/call", Kind::Call},
        {"/wingbell/standby", Kind::Standby},
        {"/wingbell/go", Kind::Go},
        {"/wingbell/clear", Kind::Clear}};
    for (const auto& [address, kind] : addresses) {
        if (message.address != address && !message.address.startsWith(QByteArray(address + '/'))) {
            continue;
        }
        const auto channel = readChannel(message.address, address, channels);
        if (!channel) {
            return failure(channel.error());
        }
        return kind ? readSignal(*kind, message, *channel) : readAnnouncement(message, *channel);
    }
    return failed(Code::UnknownAddress, QString::fromUtf8(message.address));
}

} // namespace wingbell
