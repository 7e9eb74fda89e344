#include "relay/OscInput.h"

#include "base/LineText.h"
#include "relay/Announcer.h"
#include "relay/EventLog.h"
#include "relay/log/Messages.h"
#include "relay/net/IpAddress.h"

#include <QUrl>

#include <algorithm>
#include <array>

namespace wingbell {

namespace {

/// How many datagrams are taken in a row before looking at everything else again.
constexpr int datagramsInARow = 64;

/// Of each OscError::Code.
constexpr std::array oscMessages = {
    Message::EmptyPacket,     Message::NotOsc,           Message::UnendedAddress,
    Message::WrongTypeTags,   Message::WrongArguments,   Message::WrongLength,
    Message::NoTimeTag,       Message::UnendedBundle,    Message::WrongBundleLength,
    Message::TooManyMessages, Message::TooDeep,          Message::UnknownChannel,
    Message::NoChannelName,   Message::UnknownAddress,   Message::NoText,
    Message::NotAString,      Message::SeveralArguments, Message::NotUtf8,
    Message::BlankText,       Message::NotAPort};
static_assert(oscMessages.size() == static_cast<std::size_t>(OscError::Code::NotAPort) + 1);

} // namespace

OscInput::OscInput(
    const ShowPatch& show, OscSocket socket, Announcer& announcer, Crew& crew, EventLog& log)
    : m_show(show)
    , m_channels(show.channels().begin(), show.channels().end())
    , m_socket(std::move(socket))
    , m_announcer(announcer)
    , m_crew(crew)
    , m_log(log)
    , m_limiter(signalsASecond, signalsAtOnce)
{
    crew.onAcknowledged(
        [this](const QString& role, const QString& channel, const Signals::Acknowledged& what) {
            acknowledged(role, channel, what);
        });
}

void OscInput::receive()
{
    for (int taken = 0; taken < datagramsInARow; ++taken) {
        const auto datagram = m_socket.receive();
        if (!datagram) {
            return;
        }
        handle(*datagram);
    }
}

void OscInput::handle(const OscSocket::Datagram& datagram)
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
            m_announcer.announce(*announcement, datagram.sender);
        } else if (const auto* wanted = std::get_if<SignalRequest>(&*request)) {
            signal(*wanted, datagram.sender);
        } else if (const auto* reply = std::get_if<ReplyRequest>(&*request)) {
            replyTo({datagram.sender, reply->port});
        } else {
            m_announcer.silence(datagram.sender);
        }
    }
}

void OscInput::reject(const OscError& error, const QHostAddress& sender)
{
    const bool isName = error.code == OscError::Code::UnknownChannel ||
                        error.code == OscError::Code::UnknownAddress;
    m_log.rejected(
        oscMessages.at(static_cast<std::size_t>(error.code)),
        {isName ? quoted(error.subject) : error.subject}, sender);
}

void OscInput::signal(const SignalRequest& request, const QHostAddress& sender)
{
    const auto now = RequestLimiter::Clock::now();
    if (!m_limiter.admit(sender, now)) {
        m_log.rejected(Message::TooManySignals, {QString::number(signalsASecond)}, sender);
        return;
    }
    const ChannelSet channels = m_show.setOf(request.channel);
    switch (request.kind) {
    case SignalRequest::Kind::Call:
        m_crew.call(channels, now);
        break;
    case SignalRequest::Kind::Standby:
        m_crew.showLight(channels, Signals::LightKind::Standby, request.text, now);
        break;
    case SignalRequest::Kind::Go:
        m_crew.showLight(channels, Signals::LightKind::Go, request.text, now);
        break;
    case SignalRequest::Kind::Clear:
        m_crew.clearSignals(channels);
        break;
    }
    const QStringList names = request.channel ? QStringList(*request.channel) : QStringList();
    m_log.signalled(request.kind, names, request.text, addressText(sender));
}

void OscInput::replyTo(const ReplyAddress& receiver)
{
    std::erase(m_replies, receiver);
    if (m_replies.size() >= maxReplies) {
        m_replies.pop_front();
    }
    m_replies.push_back(receiver);
    m_log.repliesTo(receiver.address, receiver.port);
}

void OscInput::acknowledged(
    const QString& role, const QString& channel, const Signals::Acknowledged& what) const
{
    const char* const kind = what.isCall                                ? "call"
                             : what.kind == Signals::LightKind::Standby ? "standby"
                                                                        : "go";
    const QByteArray packet = oscMessage(
        "/wingbell/acknowledged/" + QUrl::toPercentEncoding(channel),
        {role.toUtf8(), kind, what.text.toUtf8()});
    for (const ReplyAddress& receiver : m_replies) {
        m_socket.send(packet, receiver.address, receiver.port);
    }
}

} // namespace wingbell
