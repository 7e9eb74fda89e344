#include "relay/osc/AnnouncementReading.h"

#include "base/Utf8.h"
#include "relay/osc/SayAddress.h"
#include "relay/words/LineText.h"

namespace wingbell {

namespace {

std::optional<Refusal> refusedAddress(const SayAddress& to, const QByteArray& address)
{
    switch (to.kind) {
    case SayAddress::Kind::EveryChannel:
    case SayAddress::Kind::OneChannel:
        return std::nullopt;
    case SayAddress::Kind::UnknownChannel:
        if (to.channel.isEmpty()) {
            return Refusal{
                LineCause::UnknownChannel,
                QStringLiteral("its address ends before the name of a channel")};
        }
        return Refusal{
            LineCause::UnknownChannel,
            QStringLiteral("the show has no channel %1").arg(quoted(to.channel))};
    case SayAddress::Kind::UnknownAddress:
        break;
    }
    return Refusal{
        LineCause::UnknownAddress,
        QStringLiteral("%1 is neither /wingbell/say nor /wingbell/say/ and a channel's name")
            .arg(quoted(QString::fromUtf8(address)))};
}

std::optional<Refusal> refusedArguments(const QByteArray& typeTags)
{
    if (typeTags == "s" || typeTags == "S") {
        return std::nullopt;
    }
    if (typeTags.isEmpty()) {
        return Refusal{LineCause::WrongArguments, QStringLiteral("it brings no text")};
    }
    if (typeTags.size() > 1) {
        return Refusal{
            LineCause::WrongArguments,
            QStringLiteral("it brings %1 arguments instead of one text").arg(typeTags.size())};
    }
    return Refusal{LineCause::WrongArguments, QStringLiteral("its argument is no text")};
}

} // namespace

AnnouncementReading readAnnouncement(const OscMessage& message, const QSet<QString>& channels)
{
    if (message.address == "/wingbell/silence") {
        return SilenceRequest();
    }
    const SayAddress to = readSayAddress(message.address, channels);
    if (const auto refusal = refusedAddress(to, message.address)) {
        return *refusal;
    }
    if (const auto refusal = refusedArguments(message.typeTags)) {
        return *refusal;
    }
    const std::optional<QString> text = textIfUtf8(message.text);
    if (!text) {
        return Refusal{LineCause::NotUtf8, QStringLiteral("its text is not UTF-8")};
    }
    if (isBlank(*text)) {
        return Refusal{LineCause::Blank, QStringLiteral("its text is blank")};
    }
    const QString whole = text->trimmed();
    Announcement announcement;
    announcement.text = firstCharacters(whole, longestAnnouncement).toString();
    announcement.cut = announcement.text.size() < whole.size();
    if (to.kind == SayAddress::Kind::OneChannel) {
        announcement.channel = to.channel;
    }
    return announcement;
}

} // namespace wingbell
