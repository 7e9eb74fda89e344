#include "relay/IntercomServer.h"

#include "relay/Relay.h"
#include "relay/Sentences.h"
#include "relay/access/Certificate.h"
#include "relay/access/CrewCode.h"
#include "relay/access/StateDirectory.h"
#include "relay/audio/AudioFormat.h"
#include "relay/confinement/ConfinementRules.h"
#include "relay/log/LineText.h"
#include "relay/log/LineWriter.h"
#include "relay/log/Messages.h"
#include "relay/net/AddressRanking.h"
#include "relay/net/NetworkAddresses.h"
#include "relay/net/Port.h"
#include "relay/speech/SpeechSynthesizer.h"

#include <QFile>
#include <QProcessEnvironment>
#include <QSysInfo>

#include <cerrno>
#include <limits>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>
#include <variant>

namespace wingbell {

namespace {

enum ExitStatus { AfterShow = 0, NotOnAir = 1, WrongUsage = 2 };

/// Beyond these a show is a mistake, and every crew member would pay for it.
constexpr qsizetype mostChannels = 1024;
constexpr qsizetype mostRoles = 1024;

int failed(ExitStatus status, const QString& line)
{
    LineWriter error(STDERR_FILENO);
    error.write(line);
    error.finish(std::chrono::milliseconds(300));
    return status;
}

/// Every crew member takes about a dozen descriptors; the usual soft limit suits fewer than a full
/// house.
void allowManyDescriptors()
{
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        (void)::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

/// Every link brings threads and takes them along when it goes. A heap for each of them would keep
/// a little of what every one of a thousand joins used.
void shareFewHeaps()
{
    (void)::mallopt(M_ARENA_MAX, 2);
}

/// For tests and measurements; nobody who runs a show has to know these.
struct Switches
{
    bool loopback = qEnvironmentVariableIntValue("WINGBELL_LOOPBACK") == 1;
    bool shortTicks = qEnvironmentVariableIntValue("WINGBELL_TICK_MS") == 10;

    [[nodiscard]] std::size_t samplesPerTick() const
    {
        return shortTicks ? maxCycleSamples / 2 : maxCycleSamples;
    }
};

/// The addresses and names of this machine, for the crew's page and its certificate.
struct Place
{
    CertificateNames names;
    QStringList urls; ///< of the crew's page, best first; never empty
};

Place placeOf(quint16 port)
{
    Place place;
    place.names.hostNames = hostNames(QSysInfo::machineHostName());
    for (const InterfaceAddress& found : rankedAddresses(NetworkAddresses().read())) {
        place.names.addresses.push_back(found.address);
        // A link-local address means nothing without the name of the asking side's interface.
        if (found.address.protocol() == QHostAddress::IPv4Protocol ||
            !found.address.isLinkLocal()) {
            place.urls.append(urlFor(found.address, port));
        }
    }
    for (const QString& name : place.names.hostNames) {
        if (name.endsWith(QLatin1String(".local"))) {
            place.urls.append(urlFor(name, port));
        }
    }
    if (place.urls.isEmpty()) {
        place.urls.append(urlFor(QStringLiteral("localhost"), port));
    }
    return place;
}

HttpLimits httpLimits()
{
    // A page holds one connection for events and one or two for what it asks; a whole crew may
    // come from one address, through a router of the house.
    HttpLimits limits;
    limits.maxConnections = 768;
    limits.maxConnectionsPerAddress = 256;
    limits.requestsPerSecond = 200;
    limits.requestBurst = 400;
    return limits;
}

/// Both ports, or the sentence that says what keeps them.
struct Ports
{
    OscSocket osc;
    FileDescriptor crew;
};

std::variant<Ports, QString> openPorts(quint16 port)
{
    OscSocket::Opening osc = OscSocket::open(port);
    if (!osc.socket) {
        const auto holder = osc.error == EADDRINUSE ? udpPortHolder(port) : std::nullopt;
        return portNotOpenSentence(PortKind::Udp, port, osc.error, holder);
    }
    OpenPort crew = openPort(OpenPort::Use::Connections, port);
    if (!crew.descriptor.isOpen()) {
        const auto holder = crew.error == EADDRINUSE ? tcpPortHolder(port) : std::nullopt;
        return portNotOpenSentence(PortKind::Tcp, port, crew.error, holder);
    }
    return Ports{std::move(*osc.socket), std::move(crew.descriptor)};
}

std::variant<Relay::Parts, QString> openParts(const ShowFile& show, std::size_t samplesPerTick)
{
    const auto port = static_cast<quint16>(show.oscPort);
    auto ports = openPorts(port);
    if (const auto* problem = std::get_if<QString>(&ports)) {
        return *problem;
    }
    auto& [osc, listener] = std::get<Ports>(ports);

    const Place place = placeOf(port);
    const StateDirectory folder(
        StateDirectory::standardPath(QProcessEnvironment::systemEnvironment()));
    const StoredCrewCode code = loadOrCreateCrewCode(folder);
    const auto certificate =
        loadOrCreateCertificate(folder, place.names, std::chrono::system_clock::now());
    if (!certificate) {
        return messageText(Message::NotOnAir, {QStringLiteral("OpenSSL made no certificate")});
    }
    const auto tls = tlsConfiguration(certificate->certificate.pem());
    if (!tls) {
        return messageText(Message::NotOnAir, {QStringLiteral("TLS cannot be set up")});
    }
    auto server = std::make_unique<HttpsServer>(std::move(listener), *tls, httpLimits());
    std::vector<QByteArray> names;
    for (const QString& name : place.names.hostNames) {
        names.push_back(name.toUtf8());
    }
    server->router().setHostNames(names);

    QStringList remarks;
    if (!code.replacedBecause.isEmpty()) {
        remarks.append(messageText(Message::NewCode, {code.replacedBecause}));
    }
    if (!code.notStoredBecause.isEmpty()) {
        remarks.append(messageText(Message::CodeNotSaved, {code.notStoredBecause}));
    }
    if (!certificate->notStoredBecause.isEmpty()) {
        remarks.append(messageText(Message::CertificateNotSaved, {certificate->notStoredBecause}));
    }
    if (!certificate->newBecause.isEmpty()) {
        remarks.append(messageText(Message::NewCertificate, {certificate->newBecause}));
    }
    return Relay::Parts{
        ShowPatch(show),
        port,
        std::move(osc),
        std::move(server),
        {code.code, place.urls, certificate->certificate.fingerprint()},
        remarks,
        samplesPerTick};
}

/// From here on the program may do no more than a show on air needs; a remark says when the kernel
/// cannot see to that. This is the moment: what needs more is done (the show is read, the ports are
/// bound, the media library has looked at its parts, TLS is
/// loaded), and no thread has been started that would
/// stay outside.
void confine(QStringList& remarks)
{
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const Confinement confinement = serverConfinement(
        QFile::encodeName(StateDirectory::standardPath(environment)).toStdString(),
        programPath(SpeechSynthesizer::Settings{}.program).value_or(std::string()));
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
    if (show.channels.size() > mostChannels) {
        return messageText(
            Message::TooLarge, {QString::number(mostChannels), QStringLiteral("channels")});
    }
    if (show.roles.size() > mostRoles) {
        return messageText(
            Message::TooLarge, {QString::number(mostRoles), QStringLiteral("roles")});
    }
    return std::nullopt;
}

} // namespace

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
    shareFewHeaps();
    const Switches switches;
    if (const auto problem = MediaLibrary::problem()) {
        return failed(NotOnAir, messageText(Message::NotOnAir, {*problem}));
    }
    auto parts = openParts(*show, switches.samplesPerTick());
    if (const auto* problem = std::get_if<QString>(&parts)) {
        return failed(NotOnAir, *problem);
    }
    confine(std::get<Relay::Parts>(parts).remarks);
    MediaLibrary media({switches.samplesPerTick(), switches.loopback});
    LineWriter output(STDOUT_FILENO);
    Relay(std::get<Relay::Parts>(std::move(parts)), media, stop, output).run();
    return AfterShow;
}

} // namespace wingbell
