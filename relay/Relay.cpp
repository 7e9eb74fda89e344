#include "relay/Relay.h"

#include "base/LineText.h"
#include "relay/Sentences.h"
#include "relay/access/X509.h"
#include "relay/log/LineWriter.h"

#include <algorithm>

namespace wingbell {

namespace {

using namespace std::chrono_literals;

/// At the end: for browsers to take their goodbye, and for the reader of the last lines.
constexpr std::chrono::milliseconds shutDownTimeout = 250ms;
constexpr std::chrono::milliseconds lastLinesTimeout = 200ms;

constexpr std::chrono::milliseconds crewCheckInterval = 500ms;

/// A desk may stay on air until its certificate expires.
constexpr std::chrono::system_clock::duration renewInterval = 12h;

/// How many unknown channels are told one by one.
constexpr std::size_t maxUnknownChannelsTold = 5;

Message messageOf(HttpError error)
{
    switch (error) {
    case HttpError::TooManyConnections:
        return Message::TooManyConnections;
    case HttpError::TooManyFromOneAddress:
        return Message::TooManyFromOneAddress;
    case HttpError::TooManyRequests:
        return Message::TooManyRequests;
    case HttpError::TooSlow:
        return Message::TooSlow;
    case HttpError::NotTls:
        return Message::NotTls;
    case HttpError::OscOverTcp:
        return Message::OscOverTcp;
    case HttpError::TooLarge:
        return Message::RequestTooLarge;
    case HttpError::ForeignOrigin:
        return Message::ForeignOrigin;
    case HttpError::UnknownHost:
        return Message::UnknownHost;
    case HttpError::Malformed:
        break;
    }
    return Message::MalformedRequest;
}

Message messageOf(CrewService::AccessError error)
{
    switch (error) {
    case CrewService::AccessError::SlowDown:
        return Message::MustWait;
    case CrewService::AccessError::WrongKey:
        return Message::WrongKey;
    case CrewService::AccessError::WrongCode:
        break;
    }
    return Message::WrongCode;
}

} // namespace

Relay::Relay(Parts parts, int stopDescriptor, LineWriter& output)
    : m_show(std::move(parts.show))
    , m_port(parts.port)
    , m_takesIpv6(parts.osc.takesIpv6())
    , m_code(parts.code)
    , m_keys(parts.keys)
    , m_folder(std::move(parts.folder))
    , m_identity(std::move(parts.identity))
    , m_remarks(parts.remarks)
    , m_problems(parts.problems)
    , m_output(output)
    , m_began(Clock::now())
    , m_renewAt(std::chrono::system_clock::now() + renewInterval)
    , m_log(output, [this] { waitForOutput(); })
    , m_room(static_cast<std::size_t>(m_show.channels().size()), parts.media.samplesPerCycle)
    , m_media(
          std::in_place, std::move(parts.mediaSocket), std::move(parts.dtls),
          std::move(parts.media))
    , m_mixer(std::in_place, m_room)
    , m_crew(
          m_show, m_room,
          [this] {
              lookAfterCrew();
              return m_media ? m_media->makeLink() : nullptr;
          },
          m_log)
    , m_announcer(
          m_show, m_room, m_log,
          {[this](const QString& text, const ChannelSet& channels) {
               m_crew.announce(text, channels);
           },
           [this](const ChannelSet& channels) {
               m_crew.setAnnouncing(channels);
           }})
    , m_osc(m_show, std::move(parts.osc), m_announcer, m_crew, m_log)
    , m_service(
          parts.server->router(), m_show, m_crew, {m_code, m_keys, address(*parts.server)},
          [this](CrewService::AccessError error, const QHostAddress& who) {
              m_log.rejectedRequest(messageOf(error), who);
          })
    , m_desk(parts.server->router(), m_show, m_crew, m_announcer, m_log, m_keys)
    , m_server(std::move(parts.server))
    , m_stopNotifier(stopDescriptor, QSocketNotifier::Read)
    , m_oscNotifier(m_osc.descriptor(), QSocketNotifier::Read)
    , m_handOver(std::move(parts.handOver))
{
    m_server->onRejected([this](HttpError error, const QHostAddress& who) {
        m_log.rejectedRequest(messageOf(error), who);
    });
    QObject::connect(
        &m_stopNotifier, &QSocketNotifier::activated, &m_stopNotifier, [this] { stop(); });
    QObject::connect(&m_oscNotifier, &QSocketNotifier::activated, &m_oscNotifier, [this] {
        m_osc.receive();
        lookAfterCrew();
    });
    if (m_handOver) {
        m_handOverNotifier.emplace(m_handOver->descriptor(), QSocketNotifier::Read);
        QObject::connect(
            &*m_handOverNotifier, &QSocketNotifier::activated, &m_loop, [this] { handOver(); });
    }
    m_heldBackTimer.setSingleShot(true);
    m_heldBackTimer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_heldBackTimer, &QTimer::timeout, &m_heldBackTimer, [this] {
        m_log.tellHeldBack(Clock::now());
        waitForOutput();
    });
    QObject::connect(&m_crewTimer, &QTimer::timeout, &m_crewTimer, [this] {
        m_crew.checkTimeouts(Clock::now());
        if (m_crew.isIdle()) {
            m_crewTimer.stop();
        }
    });
    m_addressWatch.emplace([this] { checkAddresses(); });
    showIdentity();
    m_mixer->waitUntilRunning();
}

void Relay::run()
{
    tellOnAir();
    checkAddresses(); // those that came before there was a watch
    askForRealTime();
    m_loop.exec();
    tellOffAir();
}

void Relay::tellOnAir()
{
    m_began = Clock::now();
    m_log.tell(onAirSentence(m_show, m_port, m_takesIpv6));
    for (const QString& remark : m_remarks + m_identity.remarks) {
        m_log.tell(remark);
    }
    const std::vector<UnknownChannel>& unknown = m_show.unknownChannels();
    const std::size_t told = std::min(unknown.size(), maxUnknownChannelsTold);
    for (std::size_t index = 0; index < told; ++index) {
        m_log.tell(
            Message::UnknownChannelOfRole,
            {quoted(unknown.at(index).role), quoted(unknown.at(index).channel)});
    }
    if (unknown.size() > told) {
        m_log.tell(Message::MoreUnknownChannels, {QString::number(unknown.size() - told)});
    }
    tellHowToJoin();
    for (const QString& problem : m_problems) {
        m_log.tell(problem);
    }
}

void Relay::tellHowToJoin()
{
    const CrewService::Address here = address(*m_server);
    const QString& page = here.urls.constFirst();
    QStringList howToJoin = {
        joinSentence(here.urls, m_code.text()),
        messageText(Message::Fingerprint, {here.fingerprint})};
    if (!here.authority.isEmpty()) {
        howToJoin.append(
            messageText(Message::Authority, {page + QStringLiteral("help"), here.authority}));
    }
    howToJoin.append(
        messageText(Message::JoinCard, {page + QStringLiteral("card#code=") + m_code.text()}));
    howToJoin.append(
        messageText(Message::DeskPage, {page + QStringLiteral("desk#key=") + m_keys.deskKey()}));
    m_log.tellHowToJoin(howToJoin);
}

CrewService::Address Relay::address(const HttpsServer& server) const
{
    const std::vector<QHostAddress>& addresses = m_identity.place.names.addresses;
    const QSslCertificate shown =
        server.certificateAt(addresses.empty() ? QHostAddress() : addresses.front());
    return {m_identity.urls, fingerprintOf(shown.toDer()), m_identity.authorityFingerprint};
}

void Relay::showIdentity()
{
    Router& router = m_server->router();
    std::vector<QByteArray> names;
    for (const QString& name : m_identity.hostNames) {
        names.push_back(name.toUtf8());
    }
    router.setHostNames(names);
    router.addDownload("/authority.crt", "application/x-x509-ca-cert", m_identity.authority);
    router.addDownload(
        "/authority.mobileconfig", "application/x-apple-aspen-config", m_identity.appleProfile);
    m_service.setAddress(address(*m_server));
}

void Relay::checkAddresses()
{
    if (hasMoved(m_identity.place, deskPlace(m_port))) {
        renewIdentity();
    }
}

/// By the addresses and the time of now. If that fails, all stays as it is.
void Relay::renewIdentity()
{
    const auto now = std::chrono::system_clock::now();
    m_renewAt = now + renewInterval;
    FileDescriptor lock = m_folder.lock();
    auto identity = loadDeskIdentity(m_folder, m_port, now);
    (void)lock.close();
    const auto tls = identity ? tlsConfiguration(identity->pem) : std::nullopt;
    if (!tls) {
        return;
    }
    const bool moved = identity->urls != m_identity.urls;
    m_identity = std::move(*identity);
    m_server->renewTls(*tls, m_identity.place.names.addresses);
    showIdentity();
    if (moved) {
        m_log.tell(Message::AddressesChanged, {});
        for (const QString& remark : m_identity.remarks) {
            m_log.tell(remark);
        }
        tellHowToJoin();
    }
}

/// For the threads to which the kernel did not give real-time priority itself.
void Relay::askForRealTime()
{
    std::vector<RealTimeRequest> refused;
    for (const RealTimeThread* const thread : {&m_mixer->thread(), &m_media->thread()}) {
        if (const auto request = thread->refused()) {
            refused.push_back(*request);
        }
    }
    if (refused.empty()) {
        return;
    }
    m_realtimeKit.emplace(std::move(refused), [this](bool isGranted) {
        m_realtimeKit.reset();
        if (!isGranted) {
            m_log.tell(Message::NoRealTime, {});
        }
    });
}

void Relay::handOver()
{
    const auto successor = m_handOver->takeRequest();
    if (!successor) {
        return;
    }
    m_log.tell(Message::HandedOver, {QString::number(*successor)});
    m_crew.handOver();
    closePorts();
}

void Relay::stop()
{
    m_crew.goOffAir();
    closePorts();
}

/// The crew have been told goodbye. The ports are free at once, for the next server; what the
/// browsers are still to be told goes out on their connections.
void Relay::closePorts()
{
    m_realtimeKit.reset();
    m_stopNotifier.setEnabled(false);
    m_oscNotifier.setEnabled(false);
    if (m_handOverNotifier) {
        m_handOverNotifier->setEnabled(false);
        m_handOver->close();
    }
    m_crewTimer.stop();
    m_addressWatch.reset();
    m_osc.stop();
    m_announcer.stop();
    m_desk.goOffAir();
    m_server->shutDown(shutDownTimeout, [this] { m_loop.quit(); });
    m_media.reset();
    m_handOver.reset();
}

void Relay::tellOffAir()
{
    const quint64 cycles = m_mixer->cycles();
    const quint64 late = m_mixer->missedDeadlines();
    m_mixer.reset();
    m_log.tellHeldBack(Clock::time_point::max());
    if (late > 0) {
        m_log.tell(Message::LateAudio, {QString::number(late), QString::number(cycles)});
    }
    m_log.tell(
        Message::OffAir, {durationInWords(std::chrono::duration_cast<std::chrono::milliseconds>(
                             Clock::now() - m_began))});
    m_output.finish(lastLinesTimeout);
}

/// Arms the notifier and the timer for what the output and the held back lines wait for, if
/// anything.
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
    if (const auto due = m_log.nextDue()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*due - Clock::now());
        m_heldBackTimer.start(std::max(left, 0ms));
    } else {
        m_heldBackTimer.stop();
    }
}

/// The timer runs only while there is a crew: an idle server does not wake the machine.
void Relay::lookAfterCrew()
{
    if (!m_crewTimer.isActive()) {
        m_crewTimer.start(crewCheckInterval);
    }
    if (std::chrono::system_clock::now() >= m_renewAt) {
        renewIdentity();
    }
}

} // namespace wingbell
