#include "relay/Sentences.h"

#include "relay/osc/AnnouncementReading.h"
#include "relay/words/DurationInWords.h"
#include "relay/words/LineText.h"

#include <cerrno>
#include <concepts>

namespace wingbell {

namespace {

constexpr qsizetype longestShownPath = 500;
constexpr qsizetype mostOtherUrls = 4;

template <std::integral Count> QString counted(Count count, const QString& singular)
{
    return QString::number(count) + QLatin1Char(' ') + singular +
           (count == 1 ? QString() : QStringLiteral("s"));
}

QString heldRefusals(quint64 count, const QString& thing, const QString& reason)
{
    return QStringLiteral("Refused %1: %2.")
        .arg(counted(count, QStringLiteral("more ") + thing), reason);
}

} // namespace

QString usageSentence()
{
    return QStringLiteral("Usage: IntercomServer SHOW-FILE");
}

QString neverSavedSentence(const QString& path)
{
    return QStringLiteral(
               "Cannot go on air: no show has been saved yet (%1 does not exist): press Save Show, "
               "then start again.")
        .arg(quoted(path, longestShownPath));
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

QString tooLargeSentence(const QString& what, qsizetype most)
{
    return QStringLiteral("Cannot go on air: the show has more than %1 %2.").arg(most).arg(what);
}

QString
portNotOpenSentence(PortKind kind, quint16 port, int error, const std::optional<PortHolder>& holder)
{
    const QString name =
        QStringLiteral("%1 port %2")
            .arg(
                kind == PortKind::Udp ? QStringLiteral("UDP") : QStringLiteral("TCP"),
                QString::number(port));
    if (error == EADDRINUSE && holder) {
        return QStringLiteral(
                   "Cannot go on air: %1 is in use by %2 (process %3); end that program or choose "
                   "another port in the control window.")
            .arg(name, holder->name, QString::number(holder->process));
    }
    if (error == EADDRINUSE) {
        return QStringLiteral(
                   "Cannot go on air: %1 is in use by another program; end that program or choose "
                   "another port in the control window.")
            .arg(name);
    }
    if (error == EACCES) {
        return QStringLiteral(
                   "Cannot go on air: %1 is kept for the system; choose one from 1024 up in the "
                   "control window.")
            .arg(name);
    }
    return QStringLiteral(
               "Cannot go on air: %1 cannot be opened: %2; choose another port in the control "
               "window.")
        .arg(name, qt_error_string(error));
}

QString notOnAirSentence(const QString& problem)
{
    return QStringLiteral("Cannot go on air: %1.").arg(problem);
}

QString onAirSentence(const ShowPatch& show, quint16 port, bool takesIpv6)
{
    const QString name =
        show.name().isEmpty() ? QStringLiteral("a show without a name") : quoted(show.name());
    return QStringLiteral("On air with %1: %2, %3, OSC on UDP port %4%5.")
        .arg(
            name, counted(show.channels().size(), QStringLiteral("channel")),
            counted(show.roles().size(), QStringLiteral("role")), QString::number(port),
            takesIpv6 ? QString() : QStringLiteral(" over IPv4 only"));
}

QString joinSentence(const QStringList& urls, const QString& code)
{
    const QString others = urls.size() < 2
                               ? QString()
                               : QStringLiteral(" Where that does not answer: %1")
                                     .arg(urls.mid(1, mostOtherUrls).join(QStringLiteral(", ")));
    return QStringLiteral("The crew join at %1 with the code %2.%3")
        .arg(urls.value(0), code, others);
}

QString fingerprintSentence(const QString& fingerprint)
{
    return QStringLiteral(
               "The certificate's SHA-256 fingerprint, to compare when a browser warns: %1")
        .arg(fingerprint);
}

QString newCodeSentence(const QString& reason)
{
    return QStringLiteral("A new crew code was made: %1.").arg(reason);
}

QString cardSentence(const QString& url)
{
    return QStringLiteral("To print for the crew, with how to join: %1").arg(url);
}

QString codeNotKeptSentence(const QString& problem)
{
    return QStringLiteral("The crew will need another code after the next start: %1.").arg(problem);
}

QString certificateNotKeptSentence(const QString& problem)
{
    return QStringLiteral(
               "Phones will ask about this computer's certificate again after the next start: %1.")
        .arg(problem);
}

QString newCertificateSentence(const QString& reason)
{
    return QStringLiteral("Phones will ask about this computer's certificate, once: %1.")
        .arg(reason);
}

QString notConfinedSentence(const QStringList& lacking)
{
    return QStringLiteral(
               "This computer's kernel cannot confine the server (%1); it works without.")
        .arg(lacking.join(QStringLiteral(", ")));
}

QString straySentence(const ShowPatch::Stray& stray)
{
    return QStringLiteral("Left out: the role %1 names the channel %2, which the show lacks.")
        .arg(quoted(stray.role), quoted(stray.channel));
}

QString moreStraysSentence(qsizetype more)
{
    return QStringLiteral("Left out: %1 like it.").arg(counted(more, QStringLiteral("more name")));
}

QString announcedSentence(const Announcement& announcement, const QString& sender)
{
    return QStringLiteral("Announcing %1%2 on %3, from %4.")
        .arg(
            quoted(announcement.text, longestAnnouncement),
            announcement.cut ? QStringLiteral(" (cut to %1 characters)").arg(longestAnnouncement)
                             : QString(),
            announcement.channel ? QStringLiteral("channel ") + quoted(*announcement.channel)
                                 : QStringLiteral("every channel"),
            sender);
}

QString silencedSentence(std::size_t count, const QString& sender)
{
    if (count == 0) {
        return QStringLiteral("Nothing to silence from %1.").arg(sender);
    }
    return QStringLiteral("Silenced %1 from %2.")
        .arg(counted(count, QStringLiteral("announcement")), sender);
}

QString notSpokenSentence(const QString& text, const QString& reason)
{
    return QStringLiteral("Could not speak %1: %2.").arg(quoted(text), reason);
}

QString refusedSentence(const Refusal& refusal, const QString& sender)
{
    return QStringLiteral("Refused a %1 from %2: %3.")
        .arg(
            refusal.cause == LineCause::Unreadable ? QStringLiteral("packet")
                                                   : QStringLiteral("message"),
            sender, refusal.reason);
}

QString joinedSentence(const QString& role, const QString& address, bool microphone)
{
    return QStringLiteral("%1 joined as %2%3.")
        .arg(
            address, quoted(role),
            microphone ? QString() : QStringLiteral(", without a microphone"));
}

QString returnedSentence(const QString& role, const QString& address)
{
    return QStringLiteral("%1 is back as %2.").arg(address, quoted(role));
}

QString leftSentence(const QString& role, const QString& address, Departure why)
{
    switch (why) {
    case Departure::Left:
        return QStringLiteral("%1 left %2.").arg(address, quoted(role));
    case Departure::Vanished:
        return QStringLiteral("%1, who was %2, is gone: no sign of life for a while.")
            .arg(address, quoted(role));
    case Departure::LinkBroken:
        return QStringLiteral("%1, who was %2, is gone: the connection broke.")
            .arg(address, quoted(role));
    case Departure::Forged:
        return QStringLiteral(
                   "%1 wanted to be %2, but has another certificate than its page announced; "
                   "it was disconnected.")
            .arg(address, quoted(role));
    case Departure::NeverCame:
        break;
    }
    return QStringLiteral(
               "%1 wanted to be %2 and never got through; perhaps a firewall keeps UDP away.")
        .arg(address, quoted(role));
}

QString turnedAwaySentence(const QString& address, const QString& reason)
{
    return QStringLiteral("Turned %1 away: %2.").arg(address, reason);
}

QString heldBackSentence(const LineLimiter::Held& held)
{
    const QString message = QStringLiteral("message");
    const auto turnedAway = [&held](const QString& reason) {
        return QStringLiteral("Turned away %1: %2.")
            .arg(counted(held.lines, QStringLiteral("more visit")), reason);
    };
    switch (held.cause) {
    case LineCause::Announced:
        break;
    case LineCause::NotSpoken:
        return QStringLiteral("Could not speak %1 within a second.")
            .arg(counted(held.lines, QStringLiteral("more announcement")));
    case LineCause::Silenced:
        return QStringLiteral("Asked for silence within a second: %1.")
            .arg(counted(held.lines, QStringLiteral("more time")));
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
    case LineCause::TooManyAnnouncements:
        return heldRefusals(held.lines, message, QStringLiteral("too many announcements"));
    case LineCause::Joined:
        return QStringLiteral("Joined within a second: %1.")
            .arg(counted(held.lines, QStringLiteral("more time")));
    case LineCause::Left:
        return QStringLiteral("Left within a second: %1.")
            .arg(counted(held.lines, QStringLiteral("more time")));
    case LineCause::NeverConnected:
        return QStringLiteral("Never got through: %1 within a second.")
            .arg(counted(held.lines, QStringLiteral("more time")));
    case LineCause::WrongCode:
        return turnedAway(QStringLiteral("a wrong crew code"));
    case LineCause::TooManyConnections:
        return turnedAway(QStringLiteral("too many connections"));
    case LineCause::TooManyRequests:
        return turnedAway(QStringLiteral("too many requests"));
    case LineCause::TooSlow:
        return turnedAway(QStringLiteral("too slow"));
    case LineCause::NotTls:
        return turnedAway(QStringLiteral("no secure connection"));
    case LineCause::MalformedRequest:
        return turnedAway(QStringLiteral("a malformed request"));
    case LineCause::ForeignRequest:
        return turnedAway(QStringLiteral("a request of a foreign page"));
    }
    return QStringLiteral("Announcing %1 that came within a second.")
        .arg(counted(held.lines, QStringLiteral("more text")));
}

QString lateTicksSentence(quint64 late, quint64 ticks)
{
    return QStringLiteral("The sound was late at %1 of %2 ticks; this computer was too busy.")
        .arg(QString::number(late), QString::number(ticks));
}

QString offAirSentence(std::chrono::milliseconds onAir)
{
    return QStringLiteral("Off air after %1.").arg(durationInWords(onAir));
}

} // namespace wingbell
