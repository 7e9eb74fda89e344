#include "relay/Announcer.h"

#include "relay/Journal.h"
#include "relay/net/IpAddress.h"
#include "relay/osc/AnnouncementReading.h"
#include "relay/osc/OscPacket.h"
#include "relay/words/LineText.h"

#include <QCoreApplication>

namespace wingbell {

namespace {

/// How many datagrams are taken in a row before looking at everything else again.
constexpr int datagramsInARow = 64;

/// `first` with, or without, what is in `second`.
ChannelSet united(const ChannelSet& first, const ChannelSet& second)
{
    ChannelSet result = first;
    for (std::size_t channel = 0; channel < second.count(); ++channel) {
        if (second.contains(channel)) {
            result.insert(channel);
        }
    }
    return result;
}

ChannelSet without(const ChannelSet& first, const ChannelSet& second)
{
    ChannelSet result(first.count());
    for (std::size_t channel = 0; channel < first.count(); ++channel) {
        if (first.contains(channel) && !second.contains(channel)) {
            result.insert(channel);
        }
    }
    return result;
}

/// Who counts as one sender: an address whatever its port, of IPv6 a network of 64 bits.
std::string senderOf(const sockaddr_storage& address)
{
    const auto known = IpAddress::fromSocket(address);
    return known ? known->guest().text().toStdString() : std::string();
}

QString reasonOf(Admission admission, const Announcement& announcement)
{
    const QString where =
        announcement.channel ? QStringLiteral(" for ") + quoted(*announcement.channel) : QString();
    switch (admission) {
    case Admission::Admitted:
    case Admission::QueueFull:
        break;
    case Admission::NoChannel:
        return QStringLiteral("the show has no channels");
    case Admission::TooMany:
        return QStringLiteral("%1 of its announcements are waiting already%2")
            .arg(QString::number(AnnouncementQueue::maxWaitingOfASender), where);
    case Admission::TooMuchToSay:
        return QStringLiteral("what is waiting of it already takes %1 seconds to say%2")
            .arg(QString::number(AnnouncementQueue::maxSpeechOfASender.count()), where);
    }
    return QStringLiteral("%1 announcements are waiting already")
        .arg(AnnouncementQueue::maxWaiting);
}

} // namespace

Announcer::Announcer(
    const ShowPatch& show, OscSocket socket, VoiceRoom& room, Journal& journal, Sounding sounding)
    : m_show(show)
    , m_channels(show.channels().begin(), show.channels().end())
    , m_socket(std::move(socket))
    , m_journal(journal)
    , m_sounding(std::move(sounding))
    , m_limiter(announcementsASecond, announcementsAtOnce)
    , m_soundingOn(static_cast<std::size_t>(show.channels().size()))
    , m_self(std::make_shared<Announcer*>(this))
{
    const auto play =
        [&room, self = m_self](std::shared_ptr<SoundSource> sound, const ChannelSet& channels) {
            room.announce(std::move(sound), channels);
            QMetaObject::invokeMethod(
                qApp,
                [self, channels] {
                    if (*self != nullptr) {
                        (*self)->begun(channels);
                    }
                },
                Qt::QueuedConnection);
        };
    const auto tell = [self = m_self](const SpeechReport& report) {
        QMetaObject::invokeMethod(
            qApp,
            [self, report] {
                if (*self != nullptr) {
                    (*self)->ended(report);
                }
            },
            Qt::QueuedConnection);
    };
    m_worker = std::make_unique<SpeechWorker>(Speaker::Settings{}, play, tell);
}

Announcer::~Announcer()
{
    stop();
    *m_self = nullptr;
}

void Announcer::receive()
{
    for (int taken = 0; taken < datagramsInARow; ++taken) {
        const auto datagram = m_socket.receive();
        if (!datagram) {
            return;
        }
        handle(*datagram);
    }
}

void Announcer::stop()
{
    m_socket.close();
    m_worker->stop();
}

void Announcer::handle(const OscSocket::Datagram& datagram)
{
    for (const OscElement& element : readOscPacket(datagram.bytes)) {
        if (const auto* unreadable = std::get_if<Refusal>(&element)) {
            m_journal.refused(*unreadable, datagram.sender);
            continue;
        }
        const AnnouncementReading reading =
            readAnnouncement(std::get<OscMessage>(element), m_channels);
        if (const auto* refusal = std::get_if<Refusal>(&reading)) {
            m_journal.refused(*refusal, datagram.sender);
        } else if (const auto* announcement = std::get_if<Announcement>(&reading)) {
            announce(*announcement, datagram.sender);
        } else {
            silence(datagram.sender);
        }
    }
}

void Announcer::announce(const Announcement& announcement, const sockaddr_storage& sender)
{
    if (!m_limiter.admit(sender, RequestLimiter::Clock::now())) {
        m_journal.refused(
            {LineCause::TooManyAnnouncements,
             QStringLiteral("it sends more than %1 announcements a second")
                 .arg(announcementsASecond)},
            sender);
        return;
    }
    const AnnouncementQueue::Offer offer = m_worker->announce(
        {++m_lastId, m_show.setOf(announcement.channel), announcement.text.toStdString(),
         senderOf(sender)});
    if (offer.displaced) {
        m_journal.notSpoken(
            QString::fromStdString(offer.displaced->text),
            QStringLiteral("too many are waiting, and its sender had the most of them"));
    }
    if (offer.admission == Admission::Admitted) {
        m_journal.announced(announcement, sender);
        return;
    }
    m_journal.refused(
        {LineCause::TooManyAnnouncements, reasonOf(offer.admission, announcement)}, sender);
}

/// Not rate-limited: who sends too much must be able to take it back.
void Announcer::silence(const sockaddr_storage& sender)
{
    m_journal.silenced(m_worker->silence(senderOf(sender)), sender);
}

void Announcer::begun(const ChannelSet& channels)
{
    m_soundingOn = united(m_soundingOn, channels);
    m_sounding(m_soundingOn);
}

/// No two announcements sound on one channel at a time, so whatever sounded there was this one.
void Announcer::ended(const SpeechReport& report)
{
    m_soundingOn = without(m_soundingOn, report.announcement.channels);
    m_sounding(m_soundingOn);
    const QString text = QString::fromStdString(report.announcement.text);
    if (report.result.end == SpeechEnd::Failed) {
        m_journal.notSpoken(text, report.result.reason);
    }
    if (report.result.end == SpeechEnd::Cut) {
        m_journal.notSpoken(text, QStringLiteral("all of it would take too long; it was cut"));
    }
    if (report.result.end == SpeechEnd::GaveWay) {
        m_journal.notSpoken(
            text, QStringLiteral("it was long and another sender was waiting; it was cut"));
    }
}

} // namespace wingbell
