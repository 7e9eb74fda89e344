#include "relay/Sentences.h"

#include "base/LineText.h"
#include "relay/log/Messages.h"

#include <cerrno>

namespace wingbell {

namespace {

constexpr qsizetype maxOtherUrls = 4;

QString counted(qsizetype count, const QString& singular)
{
    return QString::number(count) + QLatin1Char(' ') + singular +
           (count == 1 ? QString() : QStringLiteral("s"));
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

QString leftSentence(const QString& role, const QString& address, Departure why)
{
    return messageText(messageOf(why), {address, quoted(role)});
}

} // namespace wingbell
