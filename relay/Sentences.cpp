#include "relay/Sentences.h"

#include "relay/osc/AnnouncementReading.h"
#include "relay/words/DurationInWords.h"
#include "relay/words/LineText.h"

#include <cerrno>

namespace wingbell {

namespace {

constexpr qsizetype longestShownPath = 500;

QString counted(quint64 count, const QString& singular)
{
    return QString::number(count) + QLatin1Char(' ') + singular +
           (count == 1 ? QString() : QStringLiteral("s"));
}

QString counted(qsizetype count, const QString& singular)
{
    return counted(static_cast<quint64>(count), singular);
}

QString heldRefusals(quint64 count, const QString& thing, const QString& reason)
{
    return QStringLiteral("Refused %1 within a second: %2.")
        .arg(counted(count, QStringLiteral("more ") + thing), reason);
}

} // namespace

QString usageSentence()
{
    return QStringLiteral("Usage: IntercomServer SHOW-FILE");
}

QString noShowSentence(const QString& path, const QString& problem)
{
    return QStringLiteral("Cannot go on air: there is no show in %1: %2.")
        .arg(quoted(path, longestShownPath), problem);
}

QString noSuchPortSentence(qint64 port)
{
    return QStringLiteral(
               "Cannot go on air: the show's OSC port is %1; choose one from 1 to 65535 in the "
               "control window.")
        .arg(port);
}

QString portNotOpenSentence(quint16 port, int error, const std::optional<PortHolder>& holder)
{
    if (error == EADDRINUSE && holder) {
        return QStringLiteral(
                   "Cannot go on air: UDP port %1 is in use by %2 (process %3); end that program "
                   "or choose another port in the control window.")
            .arg(QString::number(port), holder->name, QString::number(holder->process));
    }
    if (error == EADDRINUSE) {
        return QStringLiteral(
                   "Cannot go on air: UDP port %1 is in use by another program; end that program "
                   "or choose another port in the control window.")
            .arg(port);
    }
    if (error == EACCES) {
        return QStringLiteral(
                   "Cannot go on air: UDP port %1 is kept for the system; choose one from 1024 "
                   "up in the control window.")
            .arg(port);
    }
    return QStringLiteral(
               "Cannot go on air: UDP port %1 cannot be opened: %2; choose another port in the "
               "control window.")
        .arg(QString::number(port), qt_error_string(error));
}

QString onAirSentence(const ShowFile& show, quint16 port, bool takesIpv6)
{
    const QString name =
        show.show.isEmpty() ? QStringLiteral("a show without a name") : quoted(show.show);
    return QStringLiteral("On air with %1: %2, %3, OSC on UDP port %4%5.")
        .arg(
            name, counted(show.channels.size(), QStringLiteral("channel")),
            counted(show.roles.size(), QStringLiteral("role")), QString::number(port),
            takesIpv6 ? QString() : QStringLiteral(" over IPv4 only"));
}

QString notYetSentence()
{
    return QStringLiteral(
        "Announcements are only written here: nothing is spoken and no voice is carried yet.");
}

QString announcedSentence(const Announcement& announcement, const QString& sender)
{
    return QStringLiteral("Received %1%2 for %3 from %4; announcements are not spoken yet.")
        .arg(
            quoted(announcement.text, longestAnnouncement),
            announcement.cut ? QStringLiteral(" (cut to %1 characters)").arg(longestAnnouncement)
                             : QString(),
            announcement.channel ? QStringLiteral("channel ") + quoted(*announcement.channel)
                                 : QStringLiteral("every channel"),
            sender);
}

QString refusedSentence(const Refusal& refusal, const QString& sender)
{
    return QStringLiteral("Refused a %1 from %2: %3.")
        .arg(
            refusal.cause == LineCause::Unreadable ? QStringLiteral("packet")
                                                   : QStringLiteral("message"),
            sender, refusal.reason);
}

QString heldBackSentence(const LineLimiter::Held& held)
{
    const QString message = QStringLiteral("message");
    switch (held.cause) {
    case LineCause::Announced:
        break;
    case LineCause::Unreadable:
        return heldRefusals(held.lines, QStringLiteral("packet"), QStringLiteral("unreadable"));
    case LineCause::UnknownAddress:
        return heldRefusals(held.lines, message, QStringLiteral("unknown address"));
    case LineCause::UnknownChannel:
        return heldRefusals(held.lines, message, QStringLiteral("unknown channel"));
    case LineCause::WrongArguments:
        return heldRefusals(held.lines, message, QStringLiteral("not exactly one text"));
    case LineCause::Blank:
        return heldRefusals(held.lines, message, QStringLiteral("blank text"));
    case LineCause::NotUtf8:
        return heldRefusals(held.lines, message, QStringLiteral("text that is not UTF-8"));
    }
    return QStringLiteral("Received %1 within a second; announcements are not spoken yet.")
        .arg(counted(held.lines, QStringLiteral("more announcement")));
}

QString offAirSentence(std::chrono::milliseconds onAir)
{
    return QStringLiteral("Off air after %1.").arg(durationInWords(onAir));
}

} // namespace wingbell
