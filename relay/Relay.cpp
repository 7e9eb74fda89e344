#include "relay/Relay.h"

#include "relay/Sentences.h"
#include "relay/StopSignals.h"
#include "relay/words/LineWriter.h"

#include <algorithm>
#include <array>

namespace wingbell {

namespace {

using namespace std::chrono_literals;

/// How long the end waits for browsers to take their goodbye, and for a reader of the last lines.
constexpr std::chrono::milliseconds shutDownTimeout = 250ms;
constexpr std::chrono::milliseconds lastLinesTimeout = 200ms;

constexpr std::chrono::milliseconds lookAroundEvery = 500ms;

/// How many names of channels that there are not are told one by one.
constexpr std::size_t mostStraysTold = 5;

struct HttpReason
{
    HttpError error;
    LineCause cause;
    const char* reason;
};

constexpr std::array<HttpReason, 9> httpReasons = {{
    {HttpError::TooManyConnections, LineCause::TooManyConnections,
     "there are too many connections at once"},
    {HttpError::TooManyFromOneAddress, LineCause::TooManyConnections,
     "it has too many connections at once"},
    {HttpError::TooManyRequests, LineCause::TooManyRequests, "it asks too often"},
    {HttpError::TooSlow, LineCause::TooSlow, "it was too slow"},
    {HttpError::NotTls, LineCause::NotTls,
     "there was no secure connection; a browser there must accept the certificate first"},
    {HttpError::Malformed, LineCause::MalformedRequest, "what it asked is no request"},
    {HttpError::TooLarge, LineCause::MalformedRequest, "its request was too large"},
    {HttpError::ForeignOrigin, LineCause::ForeignRequest, "it asked from a foreign page"},
    {HttpError::UnknownHost, LineCause::ForeignRequest,
     "it asked by a name that is not this computer's"},
}};

} // namespace

Relay::Relay(Parts parts, MediaLibrary& media, const StopSignals& stop, LineWriter& output)
    : m_show(std::move(parts.show))
    , m_port(parts.port)
    , m_takesIpv6(parts.osc.takesIpv6())
    , m_door(parts.door)
    , m_remarks(parts.remarks)
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
          [this](CodeVerdict::Kind kind, const sockaddr_storage& who) {
              m_journal.turnedAway(
                  LineCause::WrongCode, who,
                  kind == CodeVerdict::Kind::Wrong
                      ? QStringLiteral("that was a wrong crew code")
                      : QStringLiteral("it has to wait after wrong crew codes"));
          })
    , m_server(std::move(parts.server))
    , m_stopNotifier(stop.descriptor(), QSocketNotifier::Read)
    , m_oscNotifier(m_announcer.descriptor(), QSocketNotifier::Read)
{
    m_server->onRejected(
        [this](HttpError error, const sockaddr_storage& who) { turnedAway(error, who); });
    QObject::connect(
        &m_stopNotifier, &QSocketNotifier::activated, &m_stopNotifier, [this] { this->stop(); });
    QObject::connect(&m_oscNotifier, &QSocketNotifier::activated, &m_oscNotifier, [this] {
        m_announcer.receive();
    });
    m_heldBackTimer.setSingleShot(true);
    m_heldBackTimer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_heldBackTimer, &QTimer::timeout, &m_heldBackTimer, [this] {
        m_journal.tellHeldBack(Clock::now());
        waitForOutput();
    });
    QObject::connect(&m_crewTimer, &QTimer::timeout, &m_crewTimer, [this] {
        m_crew.lookAround(Clock::now());
        if (m_crew.people() == 0) {
            m_crewTimer.stop();
        }
    });
    m_mixing->waitUntilTicking();
}

Relay::~Relay() = default;

void Relay::run()
{
    tellOnAir();
    m_loop.exec();
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
    m_stopNotifier.setEnabled(false);
    m_oscNotifier.setEnabled(false);
    m_crewTimer.stop();
    m_announcer.stop();
    m_crew.goOffAir();
    m_server->shutDown(shutDownTimeout, [this] { m_loop.quit(); });
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
    m_output.finish(lastLinesTimeout);
}

/// Has the loop wait for just what the output and the lines held back wait for.
void Relay::waitForOutput()
{
    const int descriptor = m_output.awaitedDescriptor();
    if (descriptor >= 0 && !m_outputNotifier) {
        m_outputNotifier.emplace(descriptor, QSocketNotifier::Write);
        QObject::connect(&*m_outputNotifier, &QSocketNotifier::activated, &m_loop, [this] {
            m_output.resume();
            waitForOutput();
        });
    }
    if (m_outputNotifier) {
        m_outputNotifier->setEnabled(descriptor >= 0);
    }
    if (const auto due = m_journal.nextDue()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*due - Clock::now());
        m_heldBackTimer.start(std::max(left, 0ms));
    } else {
        m_heldBackTimer.stop();
    }
}

/// While there is no crew, nothing is looked after: a desk at rest does not wake the machine.
void Relay::lookAfterCrew()
{
    if (!m_crewTimer.isActive()) {
        m_crewTimer.start(lookAroundEvery);
    }
}

void Relay::turnedAway(HttpError error, const sockaddr_storage& who)
{
    const auto* const found =
        std::find_if(httpReasons.begin(), httpReasons.end(), [error](const HttpReason& entry) {
            return entry.error == error;
        });
    if (found != httpReasons.end()) {
        m_journal.turnedAway(found->cause, who, QString::fromLatin1(found->reason));
    }
}

} // namespace wingbell
