#include "relay/Relay.h"

#include "relay/Sentences.h"
#include "relay/StopSignals.h"
#include "relay/words/LineWriter.h"

#include <algorithm>
#include <array>

namespace wingbell {

namespace {

using namespace std::chrono_literals;

/// How long the end waits for browsers to take their goodbye, and for somebody to read the last
/// lines.
constexpr std::chrono::milliseconds goodbyePatience = 250ms;
constexpr std::chrono::milliseconds lastPatience = 200ms;

constexpr std::chrono::milliseconds lookAroundEvery = 500ms;

/// How many names of channels that there are not are told one by one.
constexpr std::size_t mostStraysTold = 5;

struct WebReason
{
    WebRefusal refusal;
    LineCause cause;
    const char* reason;
};

constexpr std::array<WebReason, 9> webReasons = {{
    {WebRefusal::TooManyConnections, LineCause::TooManyConnections,
     "there are too many connections at once"},
    {WebRefusal::TooManyFromOneAddress, LineCause::TooManyConnections,
     "it has too many connections at once"},
    {WebRefusal::TooManyRequests, LineCause::TooManyRequests, "it asks too often"},
    {WebRefusal::TooSlow, LineCause::TooSlow, "it was too slow"},
    {WebRefusal::NotTls, LineCause::NotTls,
     "there was no secure connection; a browser there must accept the certificate first"},
    {WebRefusal::Malformed, LineCause::MalformedRequest, "what it asked is no request"},
    {WebRefusal::TooLarge, LineCause::MalformedRequest, "its request was too large"},
    {WebRefusal::ForeignOrigin, LineCause::ForeignRequest, "it asked from a foreign page"},
    {WebRefusal::UnknownHost, LineCause::ForeignRequest,
     "it asked by a name that is not this computer's"},
}};

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
    , m_journal(output, [this] { waitForOutput(); })
    , m_room(static_cast<std::size_t>(m_show.channels().size()), parts.samplesPerTick)
    , m_mixing(std::in_place, m_room)
    , m_crew(
          m_show, m_room,
          [this, &media](RtpReceiver receiver) {
              lookAfterCrew();
              return media.makeLink(std::move(receiver));
          },
          m_journal)
    , m_announcer(
          m_show, std::move(parts.osc), m_room, m_journal,
          [this](const ChannelSet& channels) { m_crew.setAnnouncing(channels); })
    , m_service(
          *parts.server, m_show, m_crew, m_door,
          [this](CodeError::Kind kind, const sockaddr_storage& who) {
              m_journal.turnedAway(
                  LineCause::WrongCode, who,
                  kind == CodeError::Kind::Wrong
                      ? QStringLiteral("that was a wrong crew code")
                      : QStringLiteral("it has to wait after wrong crew codes"));
          })
    , m_server(std::move(parts.server))
{
    m_server->onRefused(
        [this](WebRefusal cause, const sockaddr_storage& who) { turnedAway(cause, who); });
    m_stopAsked = Watch::readable(m_stop.descriptor(), [this] { this->stop(); });
    m_oscReadable = Watch::readable(m_announcer.descriptor(), [this] { m_announcer.receive(); });
    m_mixing->waitUntilTicking();
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
    m_journal.tell(onAirSentence(m_show, m_port, m_takesIpv6));
    for (const QString& remark : m_remarks) {
        m_journal.tell(remark);
    }
    const std::vector<ShowPatch::Stray>& strays = m_show.strays();
    for (std::size_t index = 0; index < std::min(strays.size(), mostStraysTold); ++index) {
        m_journal.tell(straySentence(strays.at(index)));
    }
    if (strays.size() > mostStraysTold) {
        m_journal.tell(moreStraysSentence(static_cast<qsizetype>(strays.size() - mostStraysTold)));
    }
    m_journal.tellHowToJoin(
        {joinSentence(m_door.urls, m_door.code.text()), fingerprintSentence(m_door.fingerprint),
         cardSentence(
             m_door.urls.constFirst() + QStringLiteral("card#code=") + m_door.code.text())});
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
    const quint64 ticks = m_mixing->ticks();
    const quint64 late = m_mixing->missedTicks();
    m_mixing.reset();
    m_journal.tellHeldBack(Clock::time_point::max());
    if (late > 0) {
        m_journal.tell(lateTicksSentence(late, ticks));
    }
    m_journal.tell(offAirSentence(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_began)));
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
    const auto due = m_journal.nextDue();
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
        m_journal.tellHeldBack(Clock::now());
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

void Relay::turnedAway(WebRefusal cause, const sockaddr_storage& who)
{
    const auto* const found =
        std::find_if(webReasons.begin(), webReasons.end(), [cause](const WebReason& entry) {
            return entry.refusal == cause;
        });
    if (found != webReasons.end()) {
        m_journal.turnedAway(found->cause, who, QString::fromLatin1(found->reason));
    }
}

} // namespace wingbell
