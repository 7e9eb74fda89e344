#include "relay/Sentences.h"

#include "base/LineText.h"
#include "relay/log/Messages.h"

#include <algorithm>
#include <cerrno>

namespace wingbell {

namespace {

constexpr qsizetype maxOtherUrls = 4;
constexpr qsizetype maxShownNames = 3;

QString counted(qsizetype count, const QString& singular)
{
    return QString::number(count) + QLatin1Char(' ') + singular +
           (count == 1 ? QString() : QStringLiteral("s"));
}

Message messageOf(SignalRequest::Kind kind)
{
    switch (kind) {
    case SignalRequest::Kind::Standby:
        return Message::StandbyOn;
    case SignalRequest::Kind::Go:
        return Message::GoOn;
    case SignalRequest::Kind::Clear:
        return Message::ClearedOn;
    case SignalRequest::Kind::Call:
        break;
    }
    return Message::CallOn;
}

Message messageOf(Departure why)
{
    switch (why) {
    case Departure::Left:
        return Message::Left;
    case Departure::Vanished:
        return Message::StoppedResponding;
    case Departure::LinkBroken:
        return Message::AudioLost;
    case Departure::Forged:
        return Message::ForgedCertificate;
    case Departure::NeverCame:
        break;
    }
    return Message::NeverConnected;
}

} // namespace

QString portNotOpenSentence(
    PortType type, quint16 port, std::error_code error, const std::optional<PortHolder>& holder)
{
    const QString name =
        (type == PortType::Udp ? QStringLiteral("UDP port ") : QStringLiteral("TCP port ")) +
        QString::number(port);
    if (error == std::errc::address_in_use && holder) {
        return messageText(
            Message::PortInUseBy, {name, holder->name, QString::number(holder->process)});
    }
    if (error == std::errc::address_in_use) {
        return messageText(Message::PortInUse, {name});
    }
    if (error == std::errc::permission_denied) {
        return messageText(Message::PortReserved, {name});
    }
    return messageText(Message::PortNotOpen, {name, qt_error_string(error.value())});
}

QString onAirSentence(const ShowPatch& show, quint16 port, bool takesIpv6)
{
    return messageText(
        takesIpv6 ? Message::OnAir : Message::OnAirIpv4Only,
        {show.name().isEmpty() ? messageText(Message::UnnamedShow) : quoted(show.name()),
         counted(show.channels().size(), QStringLiteral("channel")),
         counted(static_cast<qsizetype>(show.roles().size()), QStringLiteral("role")),
         QString::number(port)});
}

QString joinSentence(const QStringList& urls, const QString& code)
{
    const QString best = messageText(Message::Join, {urls.value(0), code});
    const QString others = urls.mid(1, maxOtherUrls).join(QStringLiteral(", "));
    return others.isEmpty()
               ? best
               : best + QLatin1Char(' ') + messageText(Message::JoinOtherwise, {others});
}

QString announcedSentence(const Announcement& announcement, const QString& sender)
{
    return messageText(
        announcement.cut ? Message::AnnouncingCut : Message::Announcing,
        {quoted(announcement.text, maxAnnouncement),
         announcement.channel ? messageText(Message::OneChannel, {quoted(*announcement.channel)})
                              : messageText(Message::EveryChannel),
         sender, QString::number(maxAnnouncement)});
}

QString
forgottenKeySentence(const QString& role, const QStringList& channels, std::chrono::minutes time)
{
    return messageText(
        Message::ForgottenKey,
        {quoted(role), namesInWords(channels, QStringLiteral("channel")), durationInWords(time)});
}

QString namesInWords(const QStringList& names, const QString& kind)
{
    QStringList shown;
    for (const QString& name : names.first(std::min(names.size(), maxShownNames))) {
        shown.append(quoted(name));
    }
    if (names.size() > maxShownNames) {
        shown.append(counted(names.size() - maxShownNames, QStringLiteral("other ") + kind));
    }
    const QString last = shown.takeLast();
    return shown.isEmpty() ? last
                           : shown.join(QStringLiteral(", ")) + QStringLiteral(" and ") + last;
}

QString signalSentence(
    SignalRequest::Kind kind, const QStringList& channels, const QString& text,
    const QString& sender)
{
    const QString where = channels.isEmpty() ? messageText(Message::EveryChannel)
                                             : namesInWords(channels, QStringLiteral("channel"));
    const QString line = messageText(messageOf(kind), {where, sender});
    return text.isEmpty()
               ? line
               : line + QLatin1Char(' ') + messageText(Message::LightText, {quoted(text)});
}

QString leftSentence(const QString& role, const QString& address, Departure why)
{
    return messageText(messageOf(why), {address, quoted(role)});
}

} // namespace wingbell
