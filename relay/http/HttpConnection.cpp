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
    for (QTimer* const timer : {&m_deadline, &m_stalled}) {
        timer->setSingleShot(true);
        connect(timer, &QTimer::timeout, this, &HttpConnection::expire);
    }
    m_deadline.start(limits.firstRequestTimeout);
    m_stalled.setInterval(limits.stalledTimeout);
    connect(&m_socket, &QSslSocket::readyRead, this, &HttpConnection::wake);
    connect(&m_socket, &QSslSocket::disconnected, this, &HttpConnection::wake);
    connect(&m_socket, &QSslSocket::alertReceived, this, [this] { m_hasAlert = true; });
    const auto noteProgress = [this] {
        m_stalled.start();
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
    if (m_phase == Phase::Responding) {
        send(response);
        wake();
    }
}

bool HttpConnection::openEvents()
{
    if (m_phase != Phase::Responding) {
        return false;
    }
    m_keepsConnection = m_keepsConnection && m_takesChunks;
    write(responseHead(
        eventStreamResponse(), m_takesChunks ? Framing::Chunks : Framing::EndOfConnection,
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

/// A newer event replaces an older one of its name: a browser that does not read costs one event
/// of each name.
void HttpConnection::sendEvent(const QByteArray& name, const QByteArray& data)
{
    if (!hasOpenEvents()) {
        return;
    }
    const auto older = std::find_if(m_events.begin(), m_events.end(), [&name](const auto& event) {
        return event.first == name;
    });
    if (older == m_events.end()) {
        m_events.emplace_back(name, data);
    } else {
        older->second = data;
    }
    wake();
}

void HttpConnection::closeEvents()
{
    if (hasOpenEvents()) {
        m_hasOpenEvents = false;
        wake();
    }
}

std::optional<HttpConnection::Clock::time_point> HttpConnection::waitingSince() const
{
    const bool isBusy =
        m_phase == Phase::Responding || m_phase == Phase::Streaming || m_phase == Phase::Closed;
    return isBusy ? std::nullopt : std::optional(m_waitingSince);
}

void HttpConnection::giveWay()
{
    if (m_isIdle && isFlushed()) {
        endIdle();
    } else if (m_phase != Phase::Lingering) {
        m_owner.rejected(HttpError::TooManyConnections, m_peer);
    }
    cut();
}

void HttpConnection::finish()
{
    m_isFinishing = true;
    m_keepsConnection = false;
    const bool isShakingHands = m_phase == Phase::Reading && !m_socket.isEncrypted();
    if (m_phase == Phase::Connected || m_phase == Phase::Plain || isShakingHands) {
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
    m_deadline.stop();
    m_stalled.stop();
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
    if (isFlushed() || m_phase == Phase::Lingering) {
        m_stalled.stop();
    }
}

/// The time for what is waited for has run out. A pause between two requests ends without a word.
void HttpConnection::expire()
{
    if (m_isIdle && isFlushed()) {
        endIdle();
    } else if (m_phase != Phase::Lingering) {
        m_owner.rejected(HttpError::TooSlow, m_peer);
    }
    cut();
}

/// Says goodbye in TLS, so that the browser asks again on another connection.
void HttpConnection::endIdle()
{
    m_resetNotifier->setEnabled(false);
    m_socket.disconnectFromHost();
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
    const bool isClosing = m_phase == Phase::Closing || m_phase == Phase::Lingering;
    if (!isClosing && !flush()) {
        return false;
    }
    switch (m_phase) {
    case Phase::Connected:
        return detectTls();
    case Phase::Plain:
        return answerPlain();
    case Phase::Reading:
        return readRequest();
    case Phase::Responding:
    case Phase::Streaming:
        return stream();
    case Phase::Responded:
        return finishResponse();
    case Phase::Closing:
        return beginLingering();
    case Phase::Lingering:
        return linger();
    case Phase::Closed:
        break;
    }
    return false;
}

bool HttpConnection::detectTls()
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
    m_keepsConnection = false;
    m_wantsNoBody = request == PlainRequest::Head;
    if (request == PlainRequest::Other || request == PlainRequest::Osc) {
        m_owner.rejected(
            request == PlainRequest::Osc ? HttpError::OscOverTcp : HttpError::NotTls, m_peer);
        send(jsonResponse(400, {}));
    } else {
        send(m_owner.plainPage(plainRequestPath(m_plain)));
    }
    return true;
}

bool HttpConnection::readRequest()
{
    RequestReader::Reading reading = m_reader.next();
    while (reading && !*reading && m_socket.bytesAvailable() > 0) {
        m_reader.append(m_socket.readAll());
        reading = m_reader.next();
    }
    if (!reading) {
        refuse(reading.error());
        return true;
    }
    if (*reading) {
        handOn(**std::move(reading));
        return true;
    }
    if (m_reader.takeContinue()) {
        write("HTTP/1.1 100 Continue\r\n\r\n");
    }
    if (m_isIdle && m_reader.hasBegun()) {
        m_isIdle = false;
        m_deadline.start(m_limits.requestTimeout);
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
    m_isIdle = false;
    m_deadline.stop();
    m_keepsConnection = request.keepsConnection && !m_isFinishing;
    m_takesChunks = request.takesChunks;
    m_wantsNoBody = request.method == "HEAD";
    request.peer = m_peer;
    m_owner.requested(request, PendingResponse(this));
}

void HttpConnection::refuse(const RequestError& error)
{
    m_owner.rejected(error.cause, m_peer);
    m_keepsConnection = false;
    m_wantsNoBody = false;
    Response response = errorResponse(error.status, error.word);
    if (error.status == 405) {
        response.headers.emplace_back("Allow", "GET, HEAD, POST");
    }
    send(response);
}

/// Waits for the response, or for events, and sends what there is of these.
bool HttpConnection::stream()
{
    if (hasEnded()) {
        cut();
        return false;
    }
    if (!m_events.empty()) {
        QByteArray text;
        for (const auto& [name, data] : std::exchange(m_events, {})) {
            text.append(serverSentEvent(name, data));
        }
        write(m_takesChunks ? chunk(text) : text);
        return true;
    }
    if (m_phase == Phase::Responding || m_hasOpenEvents) {
        return false;
    }
    if (m_takesChunks) {
        write(chunk({}));
    }
    m_deadline.start(m_limits.responseTimeout);
    m_phase = Phase::Responded;
    return true;
}

bool HttpConnection::finishResponse()
{
    m_isIdle = m_keepsConnection && !hasEnded();
    m_waitingSince = Clock::now();
    m_phase = m_isIdle ? Phase::Reading : Phase::Closing;
    m_deadline.start(m_limits.idleTimeout);
    return true;
}

/// Everything was sent. Says so, and waits until the browser has closed its side too (lingering
/// close): closing with bytes unread would make the system throw away the response on its way.
bool HttpConnection::beginLingering()
{
    m_phase = Phase::Lingering;
    m_isIdle = false;
    m_deadline.start(m_limits.closeTimeout);
    m_resetNotifier->setEnabled(false);
    // Qt says goodbye in TLS and closes its descriptor at once.
    m_lingering =
        FileDescriptor(::fcntl(static_cast<int>(m_socket.socketDescriptor()), F_DUPFD_CLOEXEC, 0));
    m_socket.disconnectFromHost();
    return true;
}

bool HttpConnection::linger()
{
    if (m_socket.state() == QAbstractSocket::UnconnectedState && drain()) {
        cut();
    }
    return false;
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

/// Sends a response whose length is known.
void HttpConnection::send(const Response& response)
{
    m_phase = Phase::Responded;
    m_isIdle = false;
    m_waitingSince = Clock::now();
    m_deadline.start(m_limits.responseTimeout);
    const QByteArray head = responseHead(response, Framing::Length, m_keepsConnection);
    if (m_wantsNoBody) {
        write(head);
    } else if (response.body.size() <= pieceBytes) {
        write(head + response.body);
    } else {
        write(head);
        m_body = response.body;
    }
}

/// Sends `bytes`, which are few.
void HttpConnection::write(const QByteArray& bytes)
{
    if (isFlushed()) {
        m_stalled.start();
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

} // namespace wingbell
