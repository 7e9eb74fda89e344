#include "relay/Announcer.h"

#include "base/LineText.h"
#include "relay/EventLog.h"
#include "relay/Sentences.h"
#include "relay/log/Messages.h"
#include "relay/net/IpAddress.h"

namespace wingbell {

namespace {

/// Who counts as one sender: an address whatever its port, of IPv6 a network of 64 bits.
std::string senderOf(const QHostAddress& address)
{
    return clientNetwork(address).toString().toStdString();
}

} // namespace

Announcer::Announcer(const ShowPatch& show, Room& room, EventLog& log, Observer observer)
    : m_show(show)
    , m_log(log)
    , m_observer(std::move(observer))
    , m_limiter(announcementsASecond, announcementsAtOnce)
    , m_soundingOn(static_cast<std::size_t>(show.channels().size()))
{
    m_player.emplace(
        SpeechSynthesizer::Settings{},
        [this, &room](std::shared_ptr<AudioSource> sound, const PendingAnnouncement& announcement) {
            room.announce(std::move(sound), announcement.channels);
            begun(announcement);
        },
        [this](const PendingAnnouncement& announcement, const SpeechResult& result) {
            ended(announcement, result);
        });
}

void Announcer::stop()
{
    m_player.reset();
}

void Announcer::reject(
    AnnouncementError error, const Announcement& announcement, const QHostAddress& sender)
{
    const bool isThere = announcement.channel.has_value();
    const QString where = quoted(announcement.channel.value_or(QString()));
    switch (error) {
    case AnnouncementError::NoChannel:
        return m_log.rejected(Message::NoChannels, {}, sender);
    case AnnouncementError::TooMany:
        return m_log.rejected(
            isThere ? Message::TooManyWaitingThere : Message::TooManyWaiting,
            {QString::number(AnnouncementQueue::maxWaitingOfASender), where}, sender);
    case AnnouncementError::TooMuchToSay:
        return m_log.rejected(
            isThere ? Message::TooMuchWaitingThere : Message::TooMuchWaiting,
            {QString::number(AnnouncementQueue::maxSpeechOfASender.count()), where}, sender);
    case AnnouncementError::QueueFull:
        break;
    }
    m_log.rejected(Message::QueueFull, {QString::number(AnnouncementQueue::maxWaiting)}, sender);
}

void Announcer::announce(const Announcement& announcement, const QHostAddress& sender)
{
    if (!m_limiter.admit(sender, RequestLimiter::Clock::now())) {
        m_log.rejected(Message::TooManyASecond, {QString::number(announcementsASecond)}, sender);
        return;
    }
    const auto error =
        speak(announcement.text, m_show.setOf(announcement.channel), senderOf(sender));
    if (error) {
        return reject(*error, announcement, sender);
    }
    m_log.announced(announcement, sender);
}

std::optional<AnnouncementError>
Announcer::speak(const QString& text, const ChannelSet& channels, const std::string& sender)
{
    const AnnouncementQueue::Offer offer =
        m_player->announce({++m_lastId, channels, text.toStdString(), sender});
    if (!offer) {
        return offer.error();
    }
    if (const auto& displaced = *offer) {
        m_log.notSpoken(QString::fromStdString(displaced->text), messageText(Message::Displaced));
    }
    return std::nullopt;
}

bool Announcer::announceFromDesk(
    const QString& text, const ChannelSet& channels, const QHostAddress& sender)
{
    // A cue player on the same computer has its own share of the queue.
    if (speak(text, channels, "desk " + senderOf(sender))) {
        return false;
    }
    m_log.deskDid(
        Message::DeskAnnounces,
        {addressText(sender), quoted(text, maxAnnouncement),
         namesInWords(m_show.namesOf(channels), QStringLiteral("channel"))});
    return true;
}

std::size_t Announcer::silenceAll()
{
    return m_player->silence();
}

void Announcer::silence(const QHostAddress& sender)
{
    m_log.silenced(m_player->silence(senderOf(sender)), sender);
}

void Announcer::begun(const PendingAnnouncement& announcement)
{
    m_soundingOn.insert(announcement.channels);
    m_observer.begun(QString::fromStdString(announcement.text), announcement.channels);
    m_observer.sounding(m_soundingOn);
}

/// No two announcements sound on one channel at a time, so whatever sounded there was this one.
void Announcer::ended(const PendingAnnouncement& announcement, const SpeechResult& result)
{
    m_soundingOn.remove(announcement.channels);
    m_observer.sounding(m_soundingOn);
    const QString text = QString::fromStdString(announcement.text);
    if (!result) {
        m_log.notSpoken(text, result.error().reason);
    } else if (*result == SpeechEnd::Cut) {
        m_log.notSpoken(text, messageText(Message::TooLong));
    } else if (*result == SpeechEnd::GaveWay) {
        m_log.notSpoken(text, messageText(Message::GaveWay));
    }
}

} // namespace wingbell
