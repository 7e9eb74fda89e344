#include "relay/http/HttpsServer.h"

#include "relay/net/IpAddress.h"

#include <QDateTime>
#include <QHash>
#include <QSslCertificate>
#include <QSslDiffieHellmanParameters>
#include <QSslKey>
#include <QSslSocket>

#include <algorithm>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <tuple>
#include <utility>

namespace wingbell {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// How many connections are accepted in a row before looking at everything else again.
constexpr int maxAcceptedInARow = 32;

/// How long no connection is accepted after the system had no descriptor left to give: those that
/// wait would be reported again and again, and none of them could be accepted.
constexpr std::chrono::milliseconds pauseWithoutDescriptors = 200ms;

bool isOutOfResources(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

void setTcpOption(int descriptor, int option, int value)
{
    (void)::setsockopt(descriptor, IPPROTO_TCP, option, &value, sizeof value);
}

void setTcpOptions(int descriptor, const HttpLimits& limits)
{
    // Responses are written whole, so waiting for more only delays them.
    setTcpOption(descriptor, TCP_NODELAY, 1);
    // The system keeps little for a browser that does not read: an event that waits here can still
    // be replaced by a newer one.
    constexpr int maxUnsentBytes = 16384;
    setTcpOption(descriptor, TCP_NOTSENT_LOWAT, maxUnsentBytes);
    // A browser whose machine vanished is noticed as soon as one that stopped reading.
    setTcpOption(descriptor, TCP_USER_TIMEOUT, static_cast<int>(limits.stalledTimeout.count()));
}

/// The address of this machine that a browser has connected to.
QHostAddress ownAddress(int connection)
{
    sockaddr_storage own = {};
    socklen_t size = sizeof own;
    if (::getsockname(connection, reinterpret_cast<sockaddr*>(&own), &size) != 0) {
        return {};
    }
    QHostAddress address = ipAddress(own);
    address.setScopeId({});
    return address;
}

bool expiresSoon(const QSslCertificate& certificate)
{
    return certificate.expiryDate() <= QDateTime::currentDateTimeUtc().addDays(1);
}

bool isGoodFor(const QSslCertificate& certificate, const QHostAddress& address)
{
    const QStringList named = certificate.subjectAlternativeNames().values(QSsl::IpAddressEntry);
    return !expiresSoon(certificate) &&
           std::any_of(named.begin(), named.end(), [&address](const QString& text) {
               return QHostAddress(text) == address;
           });
}

} // namespace

std::optional<QSslConfiguration> tlsConfiguration(const QByteArray& pem)
{
    const QList<QSslCertificate> chain = QSslCertificate::fromData(pem, QSsl::Pem);
    QSslKey key(pem, QSsl::Ec, QSsl::Pem, QSsl::PrivateKey);
    if (key.isNull()) {
        key = QSslKey(pem, QSsl::Rsa, QSsl::Pem, QSsl::PrivateKey);
    }
    if (!QSslSocket::supportsSsl() || chain.isEmpty() || key.isNull()) {
        return std::nullopt;
    }
    QSslConfiguration tls;
    tls.setLocalCertificateChain(chain);
    tls.setPrivateKey(key);
    tls.setProtocol(QSsl::TlsV1_2OrLater);
    tls.setPeerVerifyMode(QSslSocket::VerifyNone);
    tls.setCaCertificates({}); // otherwise the system's are loaded
    tls.setAllowedNextProtocols({QSslConfiguration::NextProtocolHttp1_1});
    tls.setSslOption(QSsl::SslOptionDisableSessionTickets, true);
    tls.setDiffieHellmanParameters(QSslDiffieHellmanParameters()); // OpenSSL refuses Qt's
    // Of TLS 1.2 only authenticated encryption (AEAD); 1.3 has no other.
    tls.setBackendConfigurationOption("CipherString", QByteArray("ECDHE+AESGCM:ECDHE+CHACHA20"));
    return tls;
}

HttpsServer::HttpsServer(
    FileDescriptor listener, const QSslConfiguration& tls, const HttpLimits& limits)
    : m_listener(std::move(listener))
    , m_tls(tls)
    , m_limits(limits)
    , m_limiter(limits.requestsPerSecond, limits.requestBurst)
    , m_notifier(m_listener.get(), QSocketNotifier::Read)
{
    QObject::connect(
        &m_notifier, &QSocketNotifier::activated, &m_notifier, [this] { acceptConnections(); });
    m_acceptAgain.setSingleShot(true);
    QObject::connect(
        &m_acceptAgain, &QTimer::timeout, &m_notifier, [this] { m_notifier.setEnabled(true); });
    m_shutDownTimer.setSingleShot(true);
    QObject::connect(
        &m_shutDownTimer, &QTimer::timeout, &m_shutDownTimer, [this] { endShutDown(); });
}

HttpsServer::~HttpsServer()
{
    m_notifier.setEnabled(false);
}

void HttpsServer::renewTls(const QSslConfiguration& tls, const std::vector<QHostAddress>& addresses)
{
    if (expiresSoon(m_tls.localCertificate())) {
        m_tls = tls;
    }
    for (const QHostAddress& address : addresses) {
        if (!isGoodFor(certificateAt(address), address)) {
            m_laterTls.insert(address, tls);
        }
    }
}

QSslCertificate HttpsServer::certificateAt(const QHostAddress& address) const
{
    return tlsAt(address).localCertificate();
}

const QSslConfiguration& HttpsServer::tlsAt(const QHostAddress& address) const
{
    const auto later = m_laterTls.find(address);
    return later != m_laterTls.end() ? *later : m_tls;
}

void HttpsServer::onRejected(Rejected rejected)
{
    m_rejected = std::move(rejected);
}

void HttpsServer::shutDown(std::chrono::milliseconds timeout, std::function<void()> done)
{
    m_acceptAgain.stop();
    m_notifier.setEnabled(false);
    m_listener = FileDescriptor();
    m_done = std::move(done);
    m_shutDownTimer.start(timeout);
    for (HttpConnection* const connection : connections()) {
        connection->finish();
    }
    if (m_connections.empty()) {
        m_shutDownTimer.start(0);
    }
}

void HttpsServer::endShutDown()
{
    const auto done = std::exchange(m_done, nullptr);
    for (HttpConnection* const connection : connections()) {
        connection->cut();
    }
    m_shutDownTimer.stop();
    if (done) {
        done();
    }
}

void HttpsServer::requested(const HttpRequest& request, PendingResponse response)
{
    if (!m_limiter.admit(request.peer, Clock::now())) {
        response.sendJson(429, "{\"error\":\"slow-down\",\"seconds\":1}");
        rejected(HttpError::TooManyRequests, request.peer);
        return;
    }
    if (const auto error = m_router.serve(request, std::move(response))) {
        rejected(*error, request.peer);
    }
}

void HttpsServer::rejected(HttpError error, const QHostAddress& peer)
{
    if (m_rejected) {
        m_rejected(error, peer);
    }
}

void HttpsServer::closed(HttpConnection& connection)
{
    m_connections.extract(&connection).mapped().release()->deleteLater();
    if (m_done && m_connections.empty()) {
        m_shutDownTimer.start(0);
    }
}

void HttpsServer::acceptConnections()
{
    for (int accepted = 0; accepted < maxAcceptedInARow && acceptConnection(); ++accepted) {
    }
}

/// False when there is none to be accepted. Qt's own server would spin where the system has no
/// descriptor left.
bool HttpsServer::acceptConnection()
{
    sockaddr_storage peer = {};
    socklen_t size = sizeof peer;
    FileDescriptor descriptor(::accept4(
        m_listener.get(), reinterpret_cast<sockaddr*>(&peer), &size, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!descriptor.isOpen()) {
        if (isOutOfResources(errno)) {
            m_notifier.setEnabled(false);
            m_acceptAgain.start(pauseWithoutDescriptors);
        }
        return false;
    }
    const QHostAddress address = ipAddress(peer);
    if (const auto error = connectionError(address)) {
        rejected(*error, address);
        return true;
    }
    setTcpOptions(descriptor.get(), m_limits);
    const QSslConfiguration& tls = tlsAt(ownAddress(descriptor.get()));
    auto connection = std::make_unique<HttpConnection>(
        std::move(descriptor), address, tls, m_limits, static_cast<HttpConnection::Owner&>(*this));
    m_connections.emplace(connection.get(), std::move(connection));
    return true;
}

/// The rate is checked first: what is refused for it must not push out another client.
std::optional<HttpError> HttpsServer::connectionError(const QHostAddress& peer)
{
    if (!m_limiter.admit(peer, Clock::now())) {
        return HttpError::TooManyRequests;
    }
    if (connectionsFrom(peer) >= m_limits.maxConnectionsPerAddress) {
        makeRoom(peer);
    }
    if (connectionsFrom(peer) >= m_limits.maxConnectionsPerAddress) {
        return HttpError::TooManyFromOneAddress;
    }
    if (m_connections.size() >= m_limits.maxConnections) {
        makeRoom(std::nullopt);
    }
    if (m_connections.size() >= m_limits.maxConnections) {
        return HttpError::TooManyConnections;
    }
    return std::nullopt;
}

std::size_t HttpsServer::connectionsFrom(const QHostAddress& peer) const
{
    return static_cast<std::size_t>(
        std::count_if(m_connections.begin(), m_connections.end(), [&peer](const auto& entry) {
            return entry.second->peer() == peer;
        }));
}

/// Closes the connection that gives way, of `peer` or of all, if there is one. First those that
/// have waited for some time: a browser that loads the page has several, none of which waits for
/// long.
void HttpsServer::makeRoom(const std::optional<QHostAddress>& peer)
{
    struct Candidate
    {
        HttpConnection* connection;
        QHostAddress network;
        Clock::time_point since;
    };
    const auto now = Clock::now();
    std::vector<Candidate> candidates;
    for (const auto& [address, connection] : m_connections) {
        const auto since = connection->waitingSince();
        if (since && (!peer || connection->peer() == *peer)) {
            candidates.push_back({connection.get(), neighbourhood(connection->peer()), *since});
        }
    }
    const auto stale =
        std::partition(candidates.begin(), candidates.end(), [&](const Candidate& candidate) {
            return now - candidate.since >= m_limits.givesWayAfter;
        });
    if (stale != candidates.begin()) {
        candidates.erase(stale, candidates.end());
    }
    QHash<QHostAddress, int> ofNetwork;
    QHash<QHostAddress, int> ofAddress;
    for (const Candidate& candidate : candidates) {
        ++ofNetwork[candidate.network];
        ++ofAddress[candidate.connection->peer()];
    }
    const auto order = [&](const Candidate& candidate) {
        return std::tuple(
            ofNetwork.value(candidate.network), ofAddress.value(candidate.connection->peer()),
            now - candidate.since);
    };
    const auto chosen = std::max_element(
        candidates.begin(), candidates.end(),
        [&order](const Candidate& left, const Candidate& right) {
            return order(left) < order(right);
        });
    if (chosen != candidates.end()) {
        chosen->connection->giveWay();
    }
}

/// A copy: what is done to one may close others.
std::vector<HttpConnection*> HttpsServer::connections() const
{
    std::vector<HttpConnection*> all;
    for (const auto& [address, connection] : m_connections) {
        all.push_back(connection.get());
    }
    return all;
}

} // namespace wingbell
