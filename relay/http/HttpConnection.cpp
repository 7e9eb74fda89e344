#include "relay/http/HttpConnection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <utility>

namespace wingbell {

namespace {

/// The first byte of TLS: a handshake record.
constexpr char tlsRecord = 0x16;

/// What Qt keeps of what the browser sends, before and after decryption.
constexpr qint64 readBufferBytes = 16384;

/// Up to this size a body goes out together with its head. A larger one is encrypted in pieces, as
/// the browser reads: the body of a page is shared by all connections, what is encrypted is not.
constexpr qsizetype pieceBytes = 16384;

/// What a browser may go on sending before it is cut.
constexpr std::size_t maxDrainedBytes = 262144;

Response plainResponse(const QByteArray& page)
{
    // The page is one piece: it has its style in itself, and nothing can be loaded beside it.
    HttpHeaders headers = safePageHeaders(
        {{"Cache-Control", "no-store"},
         {"Content-Security-Policy", "default-src 'none'; style-src 'unsafe-inline'; "
                                     "base-uri 'none'; form-action 'none'; "
                                     "frame-ancestors 'none'"}});
    headers.emplace_back("Content-Type", "text/html; charset=utf-8");
    return {200, headers, page};
}

} // namespace

HttpConnection::HttpConnection(
    FileDescriptor descriptor, const QHostAddress& peer, const QSslConfiguration& tls,
    const HttpLimits& limits, Owner& owner)
    : m_peer(peer)
    , m_tls(tls)
    , m_limits(limits)
    , m_owner(owner)
    , m_reader(limits.maxHeadBytes, limits.maxBodyBytes)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &HttpConnection::takeTurn);
    connect(&m_socket, &QSslSocket::readyRead, this, &HttpConnection::wake);
    connect(&m_socket, &QSslSocket::disconnected, this, &HttpConnection::wake);
    connect(&m_socket, &QSslSocket::alertReceived, this, [this] { m_hasAlert = true; });
    const auto noteProgress = [this] {
        m_progress = Clock::now();
        wake();
    };
    connect(&m_socket, &QSslSocket::bytesWritten, this, noteProgress);
    connect(&m_socket, &QSslSocket::encryptedBytesWritten, this, noteProgress);
    if (m_socket.setSocketDescriptor(descriptor.get())) {
        m_socket.setReadBufferSize(readBufferBytes);
        connect(&m_socket, &QSslSocket::errorOccurred, this, &HttpConnection::noteError);
        // Qt notices a reset only when it reads or writes. poll() reports one unasked.
        m_resetNotifier.emplace(descriptor.release(), QSocketNotifier::Exception);
        connect(&*m_resetNotifier, &QSocketNotifier::activated, this, [this] {
            noteError(QAbstractSocket::RemoteHostClosedError);
        });
    }
    m_hasFailed = !m_resetNotifier;
    wake();
}

HttpConnection::~HttpConnection()
{
    m_socket.disconnect(this);
}

void HttpConnection::respond(const Response& response)
{
    if (m_phase != Phase::Responding) {
        return;
    }
    m_phase = Phase::Responded;
    const QByteArray head = responseHead(response, Framing::Length, m_keepsConnection);
    if (m_wantsNoBody || response.body.isEmpty()) {
        say(head);
    } else if (response.body.size() <= pieceBytes) {
        say(head + response.body);
    } else {
        say(head);
        m_body = response.body;
    }
    wake();
}

bool HttpConnection::openEvents()
{
    if (m_phase != Phase::Responding) {
        return false;
    }
    HttpHeaders headers = safeApiHeaders();
    headers.emplace_back("Content-Type", "text/event-stream");
    m_keepsConnection = m_keepsConnection && m_takesChunks;
    say(responseHead(
        {200, headers, {}}, m_takesChunks ? Framing::Chunks : Framing::EndOfConnection,
        m_keepsConnection));
    m_phase = Phase::Streaming;
    m_hasOpenEvents = !m_isFinishing;
    wake();
    return true;
}

bool HttpConnection::hasOpenEvents() const
{
    return m_phase == Phase::Streaming && m_hasOpenEvents;
}

void HttpConnection::sendEvent(const QByteArray& name, const QByteArray& data)
{
    if (hasOpenEvents()) {
        m_events.put(name, data);
        wake();
    }
}

void HttpConnection::closeEvents()
{
    if (hasOpenEvents()) {
        m_hasOpenEvents = false;
        wake();
    }
}

void HttpConnection::finish()
{
    m_isFinishing = true;
    m_keepsConnection = false;
    const bool isShakingHands = m_phase == Phase::Reading && !m_socket.isEncrypted();
    if (m_phase == Phase::Greeting || m_phase == Phase::Plain || isShakingHands) {
        cut();
        return;
    }
    if (m_phase == Phase::Reading) {
        m_phase = Phase::Closing;
    }
    m_hasOpenEvents = false;
    wake();
}

void HttpConnection::cut()
{
    if (!isOpen()) {
        return;
    }
    m_phase = Phase::Closed;
    m_timer.stop();
    m_resetNotifier.reset();
    m_socket.disconnect(this);
    m_socket.abort();
    m_drainNotifier.reset();
    m_lingering = FileDescriptor();
    m_owner.closed(*this);
}

void HttpConnection::wake()
{
    if (!std::exchange(m_isWoken, true)) {
        QMetaObject::invokeMethod(
            this,
            [this] {
                m_isWoken = false;
                takeTurn();
            },
            Qt::QueuedConnection);
    }
}

void HttpConnection::takeTurn()
{
    while (isOpen() && step()) {
    }
    const auto when = isOpen() ? deadline() : std::nullopt;
    if (when && *when <= Clock::now()) {
        expire();
    }
    if (isOpen()) {
        waitForDeadline();
    }
}

/// Called from inside the socket, which may have closed the descriptor already.
void HttpConnection::noteError(QAbstractSocket::SocketError error)
{
    m_hasFailed = true;
    m_tlsIsBroken = m_tlsIsBroken || error == QAbstractSocket::SslHandshakeFailedError ||
                    error == QAbstractSocket::SslInternalError;
    m_resetNotifier->setEnabled(false);
    wake();
}

/// True when nothing more can come or go. What came before can still be read.
bool HttpConnection::hasEnded() const
{
    return m_hasFailed || m_socket.state() != QAbstractSocket::ConnectedState;
}

bool HttpConnection::step()
{
    if (m_phase != Phase::Closing && !flush()) {
        return false;
    }
    switch (m_phase) {
    case Phase::Greeting:
        return greet();
    case Phase::Plain:
        return answerPlain();
    case Phase::Reading:
        return readRequest();
    case Phase::Responding:
        return waitForResponse();
    case Phase::Streaming:
        return stream();
    case Phase::Responded:
        return goOnAfterResponse();
    case Phase::Closing:
        return closeFurther();
    case Phase::Closed:
        break;
    }
    return false;
}

bool HttpConnection::greet()
{
    const QByteArray first = m_socket.isOpen() ? m_socket.peek(1) : QByteArray();
    if (first.isEmpty()) {
        return waitForRequest();
    }
    if (first.front() != tlsRecord) {
        m_phase = Phase::Plain;
        return true;
    }
    if (hasEnded()) {
        cut();
        return false;
    }
    m_phase = Phase::Reading;
    m_socket.setSslConfiguration(m_tls);
    m_socket.startServerEncryption();
    return true;
}

bool HttpConnection::answerPlain()
{
    m_plain.append(m_socket.read(maxPlainRequestBytes - m_plain.size()));
    const PlainRequest request = readPlainRequest(m_plain);
    if (request == PlainRequest::Incomplete) {
        return waitForRequest();
    }
    Response response{400, safeApiHeaders(), {}};
    if (request == PlainRequest::Other) {
        m_owner.rejected(HttpError::NotTls, m_peer);
    } else {
        response = plainResponse(m_owner.plainPage());
    }
    say(responseHead(response, Framing::Length, false));
    if (request == PlainRequest::Get) {
        m_body = response.body;
    }
    m_keepsConnection = false;
    m_phase = Phase::Responded;
    return true;
}

bool HttpConnection::readRequest()
{
    RequestReader::Reading reading = m_reader.next();
    while (std::holds_alternative<std::monostate>(reading) && m_socket.bytesAvailable() > 0) {
        m_reader.append(m_socket.readAll());
        reading = m_reader.next();
    }
    return takeReading(reading);
}

bool HttpConnection::takeReading(const RequestReader::Reading& reading)
{
    if (const auto* request = std::get_if<HttpRequest>(&reading)) {
        handOn(*request);
        return true;
    }
    if (const auto* error = std::get_if<RequestError>(&reading)) {
        refuse(*error);
        return true;
    }
    if (m_reader.takeContinue()) {
        say("HTTP/1.1 100 Continue\r\n\r\n");
    }
    if (m_reader.hasBegun() && !m_requestBegan) {
        m_requestBegan = Clock::now();
    }
    return waitForRequest();
}

bool HttpConnection::waitForRequest()
{
    if (!hasEnded()) {
        return !isFlushed();
    }
    if (m_tlsIsBroken && !m_hasAlert) {
        m_owner.rejected(HttpError::NotTls, m_peer);
    }
    cut();
    return false;
}

void HttpConnection::handOn(HttpRequest request)
{
    m_phase = Phase::Responding;
    m_hadRequest = true;
    m_requestBegan.reset();
    m_keepsConnection = request.head.keepsConnection && !m_isFinishing;
    m_takesChunks = request.head.takesChunks;
    m_wantsNoBody = request.head.method == "HEAD";
    request.peer = m_peer;
    m_owner.requested(request, PendingResponse(*this));
}

void HttpConnection::refuse(const RequestError& error)
{
    m_owner.rejected(error.cause, m_peer);
    const Response response = errorResponse(
        error.status, error.word,
        error.status == 405 ? HttpHeaders{{"Allow", "GET, HEAD, POST"}} : HttpHeaders());
    say(responseHead(response, Framing::Length, false) + response.body);
    m_keepsConnection = false;
    m_phase = Phase::Responded;
}

bool HttpConnection::waitForResponse()
{
    if (hasEnded()) {
        cut();
    }
    return false;
}

bool HttpConnection::stream()
{
    if (hasEnded()) {
        cut();
        return false;
    }
    if (!m_events.isEmpty()) {
        const QByteArray events = m_events.take();
        say(m_takesChunks ? chunk(events) : events);
        return true;
    }
    if (m_hasOpenEvents) {
        return false;
    }
    if (m_takesChunks) {
        say(chunk({}));
    }
    m_phase = Phase::Responded;
    return true;
}

bool HttpConnection::goOnAfterResponse()
{
    m_phase = m_keepsConnection && !hasEnded() ? Phase::Reading : Phase::Closing;
    m_idleSince = Clock::now();
    return true;
}

/// Everything was sent. Says so, and waits until the browser has closed its side too: closing with
/// bytes unread would make the system throw away the response on its way.
bool HttpConnection::closeFurther()
{
    if (!m_closeBegan) {
        beginLingering();
    }
    if (m_socket.state() == QAbstractSocket::UnconnectedState && drain()) {
        cut();
    }
    return false;
}

void HttpConnection::beginLingering()
{
    m_closeBegan = Clock::now();
    m_resetNotifier->setEnabled(false);
    // Qt says goodbye in TLS and closes its descriptor at once.
    m_lingering =
        FileDescriptor(::fcntl(static_cast<int>(m_socket.socketDescriptor()), F_DUPFD_CLOEXEC, 0));
    m_socket.disconnectFromHost();
}

/// Throws away what comes. True when nothing more comes, or too much.
bool HttpConnection::drain()
{
    if (!m_lingering.isOpen()) {
        return true;
    }
    if (!m_drainNotifier) {
        ::shutdown(m_lingering.get(), SHUT_WR);
        m_drainNotifier.emplace(m_lingering.get(), QSocketNotifier::Read);
        connect(&*m_drainNotifier, &QSocketNotifier::activated, this, &HttpConnection::wake);
    }
    std::array<char, readBufferBytes> bytes;
    const ssize_t count = ::recv(m_lingering.get(), bytes.data(), bytes.size(), 0);
    if (count <= 0) {
        return count == 0 || (errno != EAGAIN && errno != EINTR);
    }
    m_drained += static_cast<std::size_t>(count);
    return m_drained > maxDrainedBytes;
}

/// Sends `bytes`, which are few.
void HttpConnection::say(const QByteArray& bytes)
{
    if (isFlushed()) {
        m_progress = Clock::now();
    }
    if (!hasEnded()) {
        m_socket.write(bytes);
    }
}

/// Hands on what the system takes. True when nothing is left.
bool HttpConnection::flush()
{
    if (isFlushed()) {
        return true;
    }
    if (hasEnded()) {
        cut();
        return false;
    }
    m_socket.flush();
    while (!m_body.isEmpty() && unsentBytes() == 0 && !hasEnded()) {
        const qsizetype count = std::min(pieceBytes, m_body.size() - m_bodySent);
        m_socket.write(m_body.constData() + m_bodySent, count);
        m_bodySent += count;
        if (m_bodySent == m_body.size()) {
            m_body = QByteArray();
            m_bodySent = 0;
        }
        m_socket.flush();
    }
    return isFlushed();
}

/// In bytes: what the system has not taken yet of what the socket was given.
qint64 HttpConnection::unsentBytes() const
{
    return m_socket.bytesToWrite() + m_socket.encryptedBytesToWrite();
}

std::optional<HttpConnection::Clock::time_point> HttpConnection::deadline() const
{
    const auto ofPhase = phaseDeadline();
    if (m_phase == Phase::Closing || isFlushed()) {
        return ofPhase;
    }
    const Clock::time_point stalled = m_progress + m_limits.stalledTimeout;
    return ofPhase ? std::min(*ofPhase, stalled) : stalled;
}

std::optional<HttpConnection::Clock::time_point> HttpConnection::phaseDeadline() const
{
    switch (m_phase) {
    case Phase::Greeting:
    case Phase::Plain:
        return m_began + m_limits.firstRequestTimeout;
    case Phase::Reading:
        if (!m_hadRequest) {
            return m_began + m_limits.firstRequestTimeout;
        }
        return m_requestBegan ? *m_requestBegan + m_limits.requestTimeout
                              : m_idleSince + m_limits.idleTimeout;
    case Phase::Closing:
        return m_closeBegan ? std::optional(*m_closeBegan + m_limits.closeTimeout) : std::nullopt;
    case Phase::Responding:
    case Phase::Streaming:
    case Phase::Responded:
    case Phase::Closed:
        break;
    }
    return std::nullopt;
}

void HttpConnection::expire()
{
    const bool isIdle = m_phase == Phase::Reading && m_hadRequest && !m_requestBegan;
    if (isIdle && isFlushed()) {
        m_resetNotifier->setEnabled(false);
        m_socket.disconnectFromHost();
    } else if (!m_closeBegan) {
        m_owner.rejected(HttpError::TooSlow, m_peer);
    }
    cut();
}

void HttpConnection::waitForDeadline()
{
    const auto when = deadline();
    if (when) {
        m_timer.start(std::max(
            std::chrono::ceil<std::chrono::milliseconds>(*when - Clock::now()),
            std::chrono::milliseconds(0)));
    } else {
        m_timer.stop();
    }
}

} // namespace wingbell
