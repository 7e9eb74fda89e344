#include "relay/osc/AnnouncementReading.h"

#include "base/Utf8.h"
#include "relay/log/LineText.h"
#include "relay/osc/SayAddress.h"

namespace wingbell {

namespace {

using Code = OscError::Code;

std::optional<OscError> addressError(const SayAddress& to, const QByteArray& address)
{
    switch (to.kind) {
    case SayAddress::Kind::EveryChannel:
    case SayAddress::Kind::OneChannel:
        return std::nullopt;
    case SayAddress::Kind::UnknownChannel:
        return to.channel.isEmpty() ? OscError{Code::NoChannelName}
                                    : OscError{Code::UnknownChannel, to.channel};
    case SayAddress::Kind::UnknownAddress:
        break;
    }
    return OscError{Code::UnknownAddress, QString::fromUtf8(address)};
}

std::optional<OscError> argumentsError(const QByteArray& typeTags)
{
    if (typeTags == "s" || typeTags == "S") {
        return std::nullopt;
    }
    if (typeTags.isEmpty()) {
        return OscError{Code::NoText};
    }
    return typeTags.size() > 1 ? OscError{Code::SeveralArguments, QString::number(typeTags.size())}
                               : OscError{Code::NotAString};
}

} // namespace

AnnouncementReading readAnnouncement(const OscMessage& message, const QSet<QString>& channels)
{
    if (message.address == "/wingbell/silence") {
        return SilenceRequest();
    }
    const SayAddress to = readSayAddress(message.address, channels);
    if (const auto error = addressError(to, message.address)) {
        return *error;
    }
    if (const auto error = argumentsError(message.typeTags)) {
        return *error;
    }
    const std::optional<QString> text = textIfUtf8(message.text);
    if (!text) {
        return OscError{Code::NotUtf8};
    }
    if (isBlank(*text)) {
        return OscError{Code::BlankText};
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
