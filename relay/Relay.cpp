#include "relay/Relay.h"

#include "relay/Sentences.h"
#include "relay/StopSignals.h"
#include "relay/log/DurationInWords.h"
#include "relay/log/LineText.h"
#include "relay/log/LineWriter.h"

#include <algorithm>

namespace wingbell {

namespace {

using namespace std::chrono_literals;

/// How long the end waits for browsers to take their goodbye, and for somebody to read the last
/// lines.
constexpr std::chrono::milliseconds goodbyePatience = 250ms;
constexpr std::chrono::milliseconds lastPatience = 200ms;

constexpr std::chrono::milliseconds lookAroundEvery = 500ms;

/// How many unknown channels are told one by one.
constexpr std::size_t maxUnknownChannelsTold = 5;

Message messageOf(WebRefusal cause)
{
    switch (cause) {
    case WebRefusal::TooManyConnections:
        return Message::TooManyConnections;
    case WebRefusal::TooManyFromOneAddress:
        return Message::TooManyFromOneAddress;
    case WebRefusal::TooManyRequests:
        return Message::TooManyRequests;
    case WebRefusal::TooSlow:
        return Message::TooSlow;
    case WebRefusal::NotTls:
        return Message::NotTls;
    case WebRefusal::TooLarge:
        return Message::RequestTooLarge;
    case WebRefusal::ForeignOrigin:
        return Message::ForeignOrigin;
    case WebRefusal::UnknownHost:
        return Message::UnknownHost;
    case WebRefusal::Malformed:
        break;
    }
    return Message::MalformedRequest;
}

} // namespace

Relay::Relay(Parts parts, MediaLibrary& media, const StopSignals& stop, LineWriter& output)
    : m_show(std::move(parts.show))
    , m_port(parts.port)
    , m_takesIpv6(parts.osc.takesIpv6())
    , m_door(parts.door)
    , m_remarks(parts.remarks)
    , m_stop(stop)
    , m_output(output)
    , m_began(Clock::now())
    , m_log(output, [this] { waitForOutput(); })
    , m_room(static_cast<std::size_t>(m_show.channels().size()), parts.samplesPerTick)
    , m_mixing(std::in_place, m_room)
    , m_crew(
          m_show, m_room,
          [this, &media](RtpReceiver receiver) {
              lookAfterCrew();
              return media.makeLink(std::move(receiver));
          },
          m_log)
    , m_announcer(
          m_show, std::move(parts.osc), m_room, m_log,
          [this](const ChannelSet& channels) { m_crew.setAnnouncing(channels); })
    , m_service(
          *parts.server, m_show, m_crew, m_door,
          [this](CodeError::Kind kind, const QHostAddress& who) {
              m_log.rejectedRequest(
                  kind == CodeError::Kind::Wrong ? Message::WrongCode : Message::MustWait, who);
          })
    , m_server(std::move(parts.server))
{
    m_server->onRefused([this](WebRefusal cause, const QHostAddress& who) {
        m_log.rejectedRequest(messageOf(cause), who);
    });
    m_stopAsked = Watch::readable(m_stop.descriptor(), [this] { this->stop(); });
    m_oscReadable = Watch::readable(m_announcer.descriptor(), [this] { m_announcer.receive(); });
    m_mixing->waitUntilRunning();
}

Relay::~Relay() = default;

void Relay::run()
{
    tellOnAir();
    m_loop.run();
    tellOffAir();
}

void Relay::tellOnAir()
{
    m_began = Clock::now();
    m_log.tell(onAirSentence(m_show, m_port, m_takesIpv6));
    for (const QString& remark : m_remarks) {
        m_log.tell(remark);
    }
    const std::vector<ShowPatch::Stray>& unknown = m_show.strays();
    const std::size_t told = std::min(unknown.size(), maxUnknownChannelsTold);
    for (std::size_t index = 0; index < told; ++index) {
        m_log.tell(
            Message::UnknownChannelOfRole,
            {quoted(unknown.at(index).role), quoted(unknown.at(index).channel)});
    }
    if (unknown.size() > told) {
        m_log.tell(Message::MoreUnknownChannels, {QString::number(unknown.size() - told)});
    }
    m_log.tellHowToJoin(
        {joinSentence(m_door.urls, m_door.code.text()),
         messageText(Message::Fingerprint, {m_door.fingerprint}),
         messageText(
             Message::JoinCard,
             {m_door.urls.constFirst() + QStringLiteral("card#code=") + m_door.code.text()})});
}

void Relay::stop()
{
    m_stopAsked = Watch();
    m_oscReadable = Watch();
    m_lookAround = Watch();
    m_announcer.stop();
    m_crew.goOffAir();
    m_server->goodbye(goodbyePatience, [this] { m_loop.quit(); });
}

void Relay::tellOffAir()
{
    const quint64 ticks = m_mixing->cycles();
    const quint64 late = m_mixing->missedDeadlines();
    m_mixing.reset();
    m_log.tellHeldBack(Clock::time_point::max());
    if (late > 0) {
        m_log.tell(Message::LateAudio, {QString::number(late), QString::number(ticks)});
    }
    m_log.tell(
        Message::OffAir, {durationInWords(std::chrono::duration_cast<std::chrono::milliseconds>(
                             Clock::now() - m_began))});
    m_outputWritable = Watch();
    m_heldBackDue = Watch();
    m_output.finish(lastPatience);
}

/// Has the loop wait for just what the output and the lines held back wait for.
void Relay::waitForOutput()
{
    const int descriptor = m_output.awaitedDescriptor();
    if (descriptor < 0) {
        m_outputWritable = Watch();
    } else if (!m_outputWritable.isActive()) {
        m_outputWritable = Watch::writable(descriptor, [this] {
            m_output.resume();
            waitForOutput();
        });
    }
    const auto due = m_log.nextDue();
    if (due == m_heldBackDueAt) {
        return;
    }
    m_heldBackDueAt = due;
    if (!due) {
        m_heldBackDue = Watch();
        return;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*due - Clock::now());
    m_heldBackDue = Watch::after(std::max(left, 0ms), [this] {
        m_heldBackDueAt.reset();
        m_heldBackDue = Watch();
        m_log.tellHeldBack(Clock::now());
    });
}

/// As long as nobody is there, nothing is looked after: a desk at rest does not wake the machine.
void Relay::lookAfterCrew()
{
    if (m_lookAround.isActive()) {
        return;
    }
    m_lookAround = Watch::every(lookAroundEvery, [this] {
        m_crew.lookAround(Clock::now());
        if (m_crew.people() == 0) {
            m_lookAround = Watch();
        }
    });
}

} // namespace wingbell
