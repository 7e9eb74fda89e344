#include "relay/osc/SayAddress.h"

#include "base/Utf8.h"

#include <QByteArray>

#include <optional>

namespace wingbell {

namespace {

std::optional<int> hexadecimalDigit(char character)
{
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    if (character >= 'a' && character <= 'f') {
        return character - 'a' + 10;
    }
    if (character >= 'A' && character <= 'F') {
        return character - 'A' + 10;
    }
    return std::nullopt;
}

/// Nothing when a percent sign stands before anything but two hexadecimal digits.
std::optional<QByteArray> percentDecoded(QByteArrayView text)
{
    QByteArray decoded;
    decoded.reserve(text.size());
    for (qsizetype at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            decoded.append(text[at]);
            continue;
        }
        if (text.size() - at < 3) {
            return std::nullopt;
        }
        const std::optional<int> high = hexadecimalDigit(text[at + 1]);
        const std::optional<int> low = hexadecimalDigit(text[at + 2]);
        if (!high || !low) {
            return std::nullopt;
        }
        decoded.append(static_cast<char>(*high * 16 + *low));
        at += 2;
    }
    return decoded;
}

std::optional<QString> channelNamed(QByteArrayView name, const QSet<QString>& channels)
{
    std::optional<QString> text = textIfUtf8(name);
    return text && channels.contains(*text) ? std::move(text) : std::nullopt;
}

} // namespace

SayAddress readSayAddress(QByteArrayView address, const QSet<QString>& channels)
{
    constexpr QByteArrayView everyChannel("/wingbell/say");
    if (!address.startsWith(everyChannel)) {
        return {SayAddress::Kind::UnknownAddress, {}};
    }
    const QByteArrayView rest = address.sliced(everyChannel.size());
    if (rest.isEmpty()) {
        return {SayAddress::Kind::EveryChannel, {}};
    }
    if (!rest.startsWith('/')) {
        return {SayAddress::Kind::UnknownAddress, {}};
    }
    const QByteArrayView name = rest.sliced(1);
    if (const auto channel = channelNamed(name, channels)) {
        return {SayAddress::Kind::OneChannel, *channel};
    }
    if (const auto decoded = percentDecoded(name)) {
        if (const auto channel = channelNamed(*decoded, channels)) {
            return {SayAddress::Kind::OneChannel, *channel};
        }
    }
    return {SayAddress::Kind::UnknownChannel, QString::fromUtf8(name)};
}

} // namespace wingbell
