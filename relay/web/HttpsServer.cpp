#include "relay/web/HttpsServer.h"

#include "relay/net/IpAddress.h"
#include "relay/web/WebConnection.h"

#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <utility>

namespace wingbell {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// How many connections are taken in a row before looking at everything else again.
constexpr int connectionsInARow = 32;

/// How long nobody is taken after the system had no descriptor left to give.
constexpr std::chrono::milliseconds restWithoutDescriptors = 200ms;

bool isOutOfResources(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

void setTcpOption(int descriptor, int option, int value)
{
    (void)::setsockopt(descriptor, IPPROTO_TCP, option, &value, sizeof value);
}

void setManners(int descriptor, const WebLimits& limits)
{
    // Answers are written whole, so waiting for more only delays them.
    setTcpOption(descriptor, TCP_NODELAY, 1);
    // The system keeps little for a browser that does not read: an event that waits here can still
    // be replaced by a newer one.
    constexpr int mostUnsent = 16384;
    setTcpOption(descriptor, TCP_NOTSENT_LOWAT, mostUnsent);
    // A browser whose machine vanished is noticed as soon as one that stopped reading.
    setTcpOption(descriptor, TCP_USER_TIMEOUT, static_cast<int>(limits.stalledWrite.count()));
}

} // namespace

HttpsServer::Opening
HttpsServer::open(TcpListener listener, const QByteArray& pem, const WebLimits& limits)
{
    TlsIdentity::Reading reading = TlsIdentity::fromPem(pem);
    if (!reading.identity) {
        return {nullptr, reading.error};
    }
    return {
        std::unique_ptr<HttpsServer>(
            new HttpsServer(std::move(listener), std::move(reading.identity), limits)),
        {}};
}

HttpsServer::HttpsServer(
    TcpListener listener, std::shared_ptr<const TlsIdentity> identity, const WebLimits& limits)
    : m_listener(std::move(listener))
    , m_identity(std::move(identity))
    , m_limits(limits)
    , m_limiter(limits.requestsASecond, limits.requestsAtOnce)
    , m_taking(std::make_unique<LoopSource>(
          m_listener.descriptor(), [this](short events) { takeConnections(events); }))
{
    m_taking->await(POLLIN);
}

HttpsServer::~HttpsServer()
{
    for (const auto& connection : everybody()) {
        connection->abandon();
    }
}

QString HttpsServer::useCertificate(const QByteArray& pem)
{
    TlsIdentity::Reading reading = TlsIdentity::fromPem(pem);
    if (reading.identity) {
        m_identity = std::move(reading.identity);
    }
    return reading.error;
}

void HttpsServer::setHostNames(const std::vector<QByteArray>& names)
{
    m_table.setHostNames(names);
}

void HttpsServer::setPlainPage(const QByteArray& html)
{
    m_plainPage = html;
}

void HttpsServer::addPage(
    const QByteArray& path, const QByteArray& contentType, const QByteArray& bytes,
    const WebHeaders& headers)
{
    m_table.addPage(path, contentType, bytes, headers);
}

void HttpsServer::onGet(const QByteArray& path, Handler handler)
{
    m_table.onGet(path, std::move(handler));
}

void HttpsServer::onPost(const QByteArray& path, Handler handler)
{
    m_table.onPost(path, std::move(handler));
}

void HttpsServer::onRefused(Refused refused)
{
    m_refused = std::move(refused);
}

std::size_t HttpsServer::connections() const
{
    return m_connections.size();
}

void HttpsServer::goodbye(std::chrono::milliseconds patience, std::function<void()> done)
{
    m_taking.reset();
    m_listener.close();
    m_done = std::move(done);
    m_leaving = std::make_unique<LoopSource>([this](short) { leave(); });
    m_leaving->wakeAt(Clock::now() + patience);
    for (const auto& connection : everybody()) {
        connection->finish();
    }
    if (m_connections.empty()) {
        m_leaving->wakeSoon();
    }
}

void HttpsServer::leave()
{
    for (const auto& connection : everybody()) {
        connection->cut();
    }
    m_leaving.reset();
    if (const auto done = std::exchange(m_done, nullptr)) {
        done();
    }
}

void HttpsServer::requested(
    RequestReader::Request request, const QHostAddress& peer, WebReply reply)
{
    if (!m_limiter.admit(peer, Clock::now())) {
        reply.sendJson(429, "{\"error\":\"slow-down\",\"seconds\":1}");
        refused(WebRefusal::TooManyRequests, peer);
        return;
    }
    if (const auto why = m_table.serve(std::move(request), peer, std::move(reply))) {
        refused(*why, peer);
    }
}

void HttpsServer::refused(WebRefusal cause, const QHostAddress& peer)
{
    if (m_refused) {
        m_refused(cause, peer);
    }
}

void HttpsServer::ended(WebConnection& connection)
{
    const auto count = m_fromAddress.find(connection.peer());
    if (count != m_fromAddress.end() && --*count == 0) {
        m_fromAddress.erase(count);
    }
    m_connections.erase(&connection);
    if (m_leaving && m_connections.empty()) {
        m_leaving->wakeSoon();
    }
}

void HttpsServer::takeConnections(short events)
{
    m_taking->await(POLLIN);
    if (events == 0) {
        return; // the rest is over
    }
    for (int taken = 0; taken < connectionsInARow && takeConnection(); ++taken) {
    }
}

/// False when there is none to be taken.
bool HttpsServer::takeConnection()
{
    sockaddr_storage peer = {};
    socklen_t size = sizeof peer;
    FileDescriptor descriptor(::accept4(
        m_listener.descriptor(), reinterpret_cast<sockaddr*>(&peer), &size,
        SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!descriptor.isOpen()) {
        if (isOutOfResources(errno)) {
            rest();
        }
        return false;
    }
    welcome(std::move(descriptor), ipAddress(peer));
    return true;
}

/// Those who wait would be reported again and again, and none of them could be taken.
void HttpsServer::rest()
{
    m_taking->await(0);
    m_taking->wakeAt(Clock::now() + restWithoutDescriptors);
}

void HttpsServer::welcome(FileDescriptor descriptor, const QHostAddress& peer)
{
    if (const auto why = objection(peer)) {
        refused(*why, peer);
        return;
    }
    setManners(descriptor.get(), m_limits);
    auto connection =
        WebConnection::begin(std::move(descriptor), peer, m_identity, m_limits, *this);
    ++m_fromAddress[peer];
    m_connections.emplace(connection.get(), connection);
}

std::optional<WebRefusal> HttpsServer::objection(const QHostAddress& peer)
{
    if (m_connections.size() >= m_limits.connections) {
        return WebRefusal::TooManyConnections;
    }
    const auto count = m_fromAddress.find(peer);
    if (count != m_fromAddress.end() && *count >= m_limits.connectionsFromOneAddress) {
        return WebRefusal::TooManyFromOneAddress;
    }
    if (!m_limiter.admit(peer, Clock::now())) {
        return WebRefusal::TooManyRequests;
    }
    return std::nullopt;
}

/// A copy: what is done to one may end others.
std::vector<std::shared_ptr<WebConnection>> HttpsServer::everybody() const
{
    std::vector<std::shared_ptr<WebConnection>> all;
    for (const auto& [address, connection] : m_connections) {
        all.push_back(connection);
    }
    return all;
}

} // namespace wingbell
