#include "relay/Announcer.h"

#include "base/LineText.h"
#include "relay/EventLog.h"
#include "relay/log/Messages.h"
#include "relay/net/IpAddress.h"

#include <array>

namespace wingbell {

namespace {

/// How many datagrams are taken in a row before looking at everything else again.
constexpr int datagramsInARow = 64;

/// Who counts as one sender: an address whatever its port, of IPv6 a network of 64 bits.
std::string senderOf(const QHostAddress& address)
{
    return clientNetwork(address).toString().toStdString();
}

/// Of each OscError::Code.
constexpr std::array oscMessages = {
    Message::EmptyPacket,     Message::NotOsc,           Message::UnendedAddress,
    Message::WrongTypeTags,   Message::WrongArguments,   Message::WrongLength,
    Message::NoTimeTag,       Message::UnendedBundle,    Message::WrongBundleLength,
    Message::TooManyMessages, Message::TooDeep,          Message::UnknownChannel,
    Message::NoChannelName,   Message::UnknownAddress,   Message::NoText,
    Message::NotAString,      Message::SeveralArguments, Message::NotUtf8,
    Message::BlankText};
static_assert(oscMessages.size() == static_cast<std::size_t>(OscError::Code::BlankText) + 1);

} // namespace

Announcer::Announcer(
    const ShowPatch& show, OscSocket socket, Room& room, EventLog& log, Sounding sounding)
    : m_show(show)
    , m_channels(show.channels().begin(), show.channels().end())
    , m_socket(std::move(socket))
    , m_log(log)
    , m_sounding(std::move(sounding))
    , m_limiter(announcementsASecond, announcementsAtOnce)
    , m_soundingOn(static_cast<std::size_t>(show.channels().size()))
{
    m_player.emplace(
        SpeechSynthesizer::Settings{},
        [this, &room](std::shared_ptr<AudioSource> sound, const ChannelSet& channels) {
            room.announce(std::move(sound), channels);
            begun(channels);
        },
        [this](const PendingAnnouncement& announcement, const SpeechResult& result) {
            ended(announcement, result);
        });
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
    m_player.reset();
}

void Announcer::handle(const OscSocket::Datagram& datagram)
{
    for (const auto& message : readOscPacket(datagram.bytes)) {
        if (!message) {
            reject(message.error(), datagram.sender);
            continue;
        }
        const auto request = readOscRequest(*message, m_channels);
        if (!request) {
            reject(request.error(), datagram.sender);
        } else if (const auto* announcement = std::get_if<Announcement>(&*request)) {
            announce(*announcement, datagram.sender);
        } else {
            silence(datagram.sender);
        }
    }
}

void Announcer::reject(const OscError& error, const QHostAddress& sender)
{
    const bool isName = error.code == OscError::Code::UnknownChannel ||
                        error.code == OscError::Code::UnknownAddress;
    m_log.rejected(
        oscMessages.at(static_cast<std::size_t>(error.code)),
        {isName ? quoted(error.subject) : error.subject}, sender);
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
    const AnnouncementQueue::Offer offer = m_player->announce(
        {++m_lastId, m_show.setOf(announcement.channel), announcement.text.toStdString(),
         senderOf(sender)});
    if (!offer) {
        return reject(offer.error(), announcement, sender);
    }
    if (const auto& displaced = *offer) {
        m_log.notSpoken(QString::fromStdString(displaced->text), messageText(Message::Displaced));
    }
    m_log.announced(announcement, sender);
}

/// Not rate-limited: who sends too much must be able to take it back.
void Announcer::silence(const QHostAddress& sender)
{
    m_log.silenced(m_player->silence(senderOf(sender)), sender);
}

void Announcer::begun(const ChannelSet& channels)
{
    m_soundingOn.insert(channels);
    m_sounding(m_soundingOn);
}

/// No two announcements sound on one channel at a time, so whatever sounded there was this one.
void Announcer::ended(const PendingAnnouncement& announcement, const SpeechResult& result)
{
    m_soundingOn.remove(announcement.channels);
    m_sounding(m_soundingOn);
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
