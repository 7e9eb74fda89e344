#include "relay/IntercomServer.h"

#include "base/LineText.h"
#include "base/Result.h"
#include "relay/Relay.h"
#include "relay/Sentences.h"
#include "relay/StartCheck.h"
#include "relay/access/CardKeys.h"
#include "relay/access/CrewCode.h"
#include "relay/access/StateDirectory.h"
#include "relay/audio/AudioIo.h"
#include "relay/audio/RealTimeThread.h"
#include "relay/confinement/Confinement.h"
#include "relay/log/LineWriter.h"
#include "relay/log/Messages.h"
#include "relay/net/AddressRanking.h"
#include "relay/net/HandOver.h"
#include "relay/net/NetworkAddresses.h"
#include "relay/net/Port.h"
#include "relay/speech/SpeechSynthesizer.h"

#include <QFile>
#include <QProcessEnvironment>

#include <cerrno>
#include <csignal>
#include <limits>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <thread>
#include <unistd.h>

namespace wingbell {

namespace {

enum ExitStatus { AfterShow = 0, NotOnAir = 1, WrongUsage = 2 };

/// Beyond these a show is a mistake, and every crew member would pay for it.
constexpr qsizetype maxChannels = 1024;
constexpr qsizetype maxRoles = 1024;

int failed(ExitStatus status, const QString& line)
{
    LineWriter error(STDERR_FILENO);
    error.write(line);
    error.finish(std::chrono::milliseconds(300));
    return status;
}

/// Every crew member takes a few descriptors; the usual soft limit is too low for a full crew.
void allowManyDescriptors()
{
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        (void)::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

/// The crew's audio comes to the first of these UDP ports that is free: one rule for a firewall.
constexpr quint16 firstMediaPort = 47100;
constexpr quint16 lastMediaPort = 47109;

/// For tests and measurements only.
struct Switches
{
    bool loopback = qEnvironmentVariableIntValue("WINGBELL_LOOPBACK") == 1;
    bool shortCycles = qEnvironmentVariableIntValue("WINGBELL_TICK_MS") == 10;
    QString systemRoot = qEnvironmentVariable("WINGBELL_SYSTEM_ROOT"); ///< for StartCheck

    [[nodiscard]] std::size_t samplesPerCycle() const
    {
        return shortCycles ? maxCycleSamples / 2 : maxCycleSamples;
    }
};

HttpLimits httpLimits()
{
    // A page holds one connection for events and one or two for what it asks; a whole crew of 250
    // may come from one address, through a router of the house.
    HttpLimits limits;
    limits.maxConnections = 1024;
    limits.maxConnectionsPerAddress = 768;
    limits.requestsPerSecond = 200;
    limits.requestBurst = 400;
    return limits;
}

/// Why the show cannot go on air.
struct StartError
{
    QString sentence; ///< for a person
};

struct Ports
{
    OscSocket osc;
    FileDescriptor crew;
    DatagramSocket media;
};

tl::unexpected<StartError> notOnAir(const QString& reason)
{
    return failure(StartError{messageText(Message::NotOnAir, {reason})});
}

/// Which ports cannot be opened.
struct PortsError
{
    std::optional<PortType> type; ///< of the show's port; none: it is the media ports
    std::error_code code;

    [[nodiscard]] bool isShowPortTaken() const { return type && code == std::errc::address_in_use; }
};

StartError startError(const PortsError& error, quint16 port)
{
    if (!error.type) {
        return StartError{messageText(
            Message::NotOnAir, {QStringLiteral("none of the UDP ports %1 to %2 can be opened: %3")
                                    .arg(firstMediaPort)
                                    .arg(lastMediaPort)
                                    .arg(qt_error_string(error.code.value()))})};
    }
    return StartError{portNotOpenSentence(
        *error.type, port, error.code,
        error.isShowPortTaken() ? portHolder(*error.type, port) : std::nullopt)};
}

Result<OpenPort, PortsError> openShowPort(PortType type, quint16 port)
{
    auto opened = openPort(type, port);
    if (opened) {
        return std::move(*opened);
    }
    return failure(PortsError{type, opened.error()});
}

Result<OpenPort, PortsError> openMediaPort()
{
    std::error_code error;
    for (quint16 port = firstMediaPort; port <= lastMediaPort; ++port) {
        auto opened = openPort(PortType::Udp, port);
        if (opened) {
            return std::move(*opened);
        }
        error = opened.error();
    }
    return failure(PortsError{std::nullopt, error});
}

Result<Ports, PortsError> openPorts(quint16 port)
{
    auto osc = openShowPort(PortType::Udp, port);
    if (!osc) {
        return failure(osc.error());
    }
    auto crew = openShowPort(PortType::Tcp, port);
    if (!crew) {
        return failure(crew.error());
    }
    auto media = openMediaPort();
    if (!media) {
        return failure(media.error());
    }
    return Ports{
        OscSocket(std::move(*osc)), std::move(crew->descriptor),
        DatagramSocket(std::move(media->descriptor), media->takesIpv6)};
}

/// The same when another server has just closed them: what it was starting at that moment may hold
/// them a little longer.
Result<Ports, PortsError> openFreedPorts(quint16 port)
{
    constexpr std::chrono::seconds timeout(1);
    constexpr std::chrono::milliseconds interval(5);
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        auto ports = openPorts(port);
        if (ports || ports.error().code != std::errc::address_in_use ||
            std::chrono::steady_clock::now() >= deadline) {
            return ports;
        }
        std::this_thread::sleep_for(interval);
    }
}

/// Those at which the crew's browsers can send audio to this machine, best first.
std::vector<QHostAddress> mediaAddresses()
{
    std::vector<QHostAddress> addresses;
    for (const InterfaceAddress& found : rankedAddresses(NetworkAddresses().read())) {
        // Browsers cannot use a link-local IPv6 address, which needs the interface's name.
        if (!found.loopback && (found.address.protocol() == QHostAddress::IPv4Protocol ||
                                !found.address.isLinkLocal())) {
            addresses.push_back(found.address);
        }
    }
    return addresses;
}

std::vector<QHostAddress> loopbackAddress()
{
    return {QHostAddress(QHostAddress::LocalHost)};
}

Result<Relay::Parts, StartError> openParts(
    const ShowFile& show, const StateDirectory& folder, const StateDirectory& sockets,
    const Switches& switches)
{
    const auto port = static_cast<quint16>(show.oscPort);
    auto socketFolder = sockets.openOrMake();
    auto freePorts = openPorts(port);
    std::optional<EarlierServer> earlier;
    if (!freePorts && freePorts.error().isShowPortTaken() && socketFolder) {
        earlier = EarlierServer::find(*socketFolder, port);
    }
    if (!freePorts && !earlier) {
        return failure(startError(freePorts.error(), port));
    }

    // Two servers that start at once, perhaps of two users, have to end up with the same secrets.
    FileDescriptor lock = folder.lock();
    const StoredCrewCode code = loadOrCreateCrewCode(folder);
    const StoredCardSecret cards = loadOrCreateCardSecret(folder);
    auto identity = loadDeskIdentity(folder, port, std::chrono::system_clock::now());
    (void)lock.close();
    auto dtls = DtlsContext::make();
    if (!identity || !dtls) {
        return notOnAir(QStringLiteral("OpenSSL made no certificate"));
    }
    const auto tls = tlsConfiguration(identity->pem);
    if (!tls) {
        return notOnAir(QStringLiteral("TLS cannot be set up"));
    }
    // Last, so that the crew miss as little as possible.
    const bool tookOver = earlier && earlier->takeOver();
    auto ports = tookOver    ? openFreedPorts(port)
                 : freePorts ? std::move(freePorts)
                             : openPorts(port);
    if (!ports) {
        return failure(startError(ports.error(), port));
    }
    std::optional<HandOver> handOver;
    if (socketFolder) {
        if (auto opened = HandOver::open(std::move(*socketFolder), port)) {
            handOver.emplace(std::move(*opened));
        }
    }
    auto server = std::make_unique<HttpsServer>(std::move(ports->crew), *tls, httpLimits());
    QStringList remarks;
    if (tookOver) {
        remarks.append(messageText(Message::TookOver, {QString::number(earlier->process())}));
    }
    if (!code.replacedBecause.isEmpty()) {
        remarks.append(messageText(Message::NewCode, {code.replacedBecause}));
    }
    if (!code.notStoredBecause.isEmpty()) {
        remarks.append(messageText(Message::CodeNotSaved, {code.notStoredBecause}));
    }
    if (!cards.replacedBecause.isEmpty()) {
        remarks.append(messageText(Message::NewCardSecret, {cards.replacedBecause}));
    }
    if (!cards.notStoredBecause.isEmpty()) {
        remarks.append(messageText(Message::CardSecretNotSaved, {cards.notStoredBecause}));
    }
    return Relay::Parts{
        ShowPatch(show),
        port,
        std::move(ports->osc),
        std::move(server),
        code.code,
        CardKeys(cards.secret, show.show),
        folder,
        std::move(*identity),
        remarks,
        {},
        std::move(ports->media),
        std::move(dtls),
        {switches.samplesPerCycle(), switches.loopback ? loopbackAddress : mediaAddresses},
        std::move(handOver)};
}

/// Restricts the program for good to what a show on air needs; adds a remark if the kernel cannot.
/// To be called when what needs more is done (the show is read, the ports are bound, TLS is
/// loaded) and before any thread is started, which
/// would stay outside.
void confine(const QStringList& ownFolders, const std::string& speechProgram, QStringList& remarks)
{
    std::vector<std::string> folders;
    for (const QString& folder : ownFolders) {
        folders.push_back(QFile::encodeName(folder).toStdString());
    }
    const Confinement confinement = serverConfinement(folders, speechProgram);
    QStringList lacking = confinement.lacking();
    if (const int error = confinement.enter(); error != 0) {
        lacking.append(qt_error_string(error));
    }
    if (!lacking.isEmpty()) {
        remarks.prepend(messageText(Message::NotConfined, {lacking.join(QStringLiteral(", "))}));
    }
}

QString unreadableSentence(const QString& path, const ShowError& error)
{
    const QString shown = quoted(path, maxShownPath);
    return error.isMissing ? messageText(Message::NeverSaved, {shown})
                           : messageText(Message::NoShow, {shown, error.reason});
}

std::optional<QString> problemOf(const ShowFile& show)
{
    if (show.oscPort < 1 || show.oscPort > std::numeric_limits<quint16>::max()) {
        return messageText(Message::NoSuchPort, {QString::number(show.oscPort)});
    }
    if (show.channels.size() > maxChannels) {
        return messageText(
            Message::TooLarge, {QString::number(maxChannels), QStringLiteral("channels")});
    }
    if (show.roles.size() > maxRoles) {
        return messageText(Message::TooLarge, {QString::number(maxRoles), QStringLiteral("roles")});
    }
    return std::nullopt;
}

} // namespace

StopSignals::StopSignals()
{
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGHUP, SIG_IGN);
    sigset_t set = {};
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    m_descriptor = FileDescriptor(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!m_descriptor.isOpen()) {
        ::sigprocmask(SIG_UNBLOCK, &set, nullptr);
    }
}

int runIntercomServer(const QStringList& arguments, const StopSignals& stop)
{
    if (arguments.size() != 1) {
        return failed(WrongUsage, messageText(Message::Usage));
    }
    const auto show = readShow(arguments.constFirst());
    if (!show) {
        return failed(NotOnAir, unreadableSentence(arguments.constFirst(), show.error()));
    }
    if (const auto problem = problemOf(*show)) {
        return failed(NotOnAir, *problem);
    }
    allowManyDescriptors();
    const Switches switches;
    const SpeechSynthesizer::Settings speech;
    const std::string speechProgram = programPath(speech.program).value_or(std::string());
    std::optional<StartCheck> check(
        std::in_place, StartCheck::Settings{speech.voice, speechProgram, switches.systemRoot},
        NetworkAddresses().read());
    const auto environment = QProcessEnvironment::systemEnvironment();
    const auto state = StateDirectory::choose(environment);
    const StateDirectory sockets(
        handOverFolder(environment, StateDirectory::standardPath(environment)));
    auto parts = openParts(*show, state.directory, sockets, switches);
    if (!parts) {
        return failed(NotOnAir, parts.error().sentence);
    }
    (void)limitRealTimeRun(maxRealTimeRun);
    if (!state.sharedUnusedBecause.isEmpty()) {
        parts->remarks.prepend(
            messageText(Message::SharedStateUnused, {state.sharedPath, state.sharedUnusedBecause}));
    }
    parts->problems = startProblems(check->finish(
        {{QStringLiteral("tcp"), parts->port},
         {QStringLiteral("udp"), parts->mediaSocket.port()}}));
    check.reset();
    confine({state.directory.path(), sockets.path()}, speechProgram, parts->remarks);
    LineWriter output(STDOUT_FILENO);
    Relay(std::move(*parts), stop.descriptor(), output).run();
    return AfterShow;
}

} // namespace wingbell
