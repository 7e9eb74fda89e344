#include "relay/web/WebConnection.h"

#include "relay/web/PlainRequest.h"
#include "relay/web/SafeHeaders.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace wingbell {

namespace {

/// What TLS begins with: a record of a handshake.
constexpr char tlsRecord = 0x16;

/// What is taken from the network in one turn, so that nobody's flood keeps others waiting.
constexpr std::size_t bytesInOneTurn = 16384;

/// Up to this size a body goes out together with its head.
constexpr qsizetype smallBody = 8192;

/// What a refused client may go on sending before it is cut. Closing with bytes unread would make
/// the system throw away the answer on its way.
constexpr std::size_t mostDrained = 262144;

Answer plainAnswer(const QByteArray& page)
{
    // The page is one piece: it has its style in itself, and nothing can be loaded beside it.
    WebHeaders headers = safePageHeaders(
        {{"Cache-Control", "no-store"},
         {"Content-Security-Policy", "default-src 'none'; style-src 'unsafe-inline'; "
                                     "base-uri 'none'; form-action 'none'; "
                                     "frame-ancestors 'none'"}});
    headers.emplace_back("Content-Type", "text/html; charset=utf-8");
    return {200, headers, page};
}

} // namespace

std::shared_ptr<WebConnection> WebConnection::begin(
    FileDescriptor descriptor, const QHostAddress& peer,
    std::shared_ptr<const TlsIdentity> identity, const WebLimits& limits, WebConnectionOwner& owner)
{
    std::shared_ptr<WebConnection> connection(
        new WebConnection(std::move(descriptor), peer, std::move(identity), limits, owner));
    connection->waitOn();
    return connection;
}

WebConnection::WebConnection(
    FileDescriptor descriptor, const QHostAddress& peer,
    std::shared_ptr<const TlsIdentity> identity, const WebLimits& limits, WebConnectionOwner& owner)
    : m_descriptor(std::move(descriptor))
    , m_peer(peer)
    , m_identity(std::move(identity))
    , m_limits(limits)
    , m_owner(&owner)
    , m_source(std::make_unique<LoopSource>(
          m_descriptor.get(), [this](short events) { takeTurn(events); }))
    , m_reader(limits.headBytes, limits.bodyBytes)
{
}

void WebConnection::answer(const Answer& answer)
{
    if (!isOpen() || m_phase != Phase::Answering || m_isAnswered) {
        return;
    }
    m_isAnswered = true;
    const QByteArray head = answerHead(answer, Framing::Length, m_keepsConnection);
    if (m_wantsNoBody) {
        push(head);
    } else if (answer.body.size() <= smallBody) {
        push(head + answer.body);
    } else {
        push(head);
        push(answer.body);
    }
    wake();
}

void WebConnection::openEvents(std::shared_ptr<EventSending> events)
{
    if (!isOpen() || m_phase != Phase::Answering || m_isAnswered) {
        return;
    }
    WebHeaders headers = safeApiHeaders();
    headers.emplace_back("Content-Type", "text/event-stream");
    m_keepsConnection = m_keepsConnection && m_takesChunks;
    push(answerHead(
        {200, headers, {}}, m_takesChunks ? Framing::Chunks : Framing::ConnectionsEnd,
        m_keepsConnection));
    m_events = std::move(events);
    m_phase = Phase::Streaming;
    if (m_isFinishing) {
        m_events->close();
    }
    wake();
}

void WebConnection::wake()
{
    if (m_source) {
        m_source->wakeSoon();
    }
}

void WebConnection::finish()
{
    m_isFinishing = true;
    m_keepsConnection = false;
    if (m_phase == Phase::Greeting || m_phase == Phase::Plain ||
        (m_tls && m_tls->state() == TlsSession::State::Handshake)) {
        cut();
        return;
    }
    if (m_phase == Phase::Reading) {
        leave();
    } else if (m_phase == Phase::Streaming) {
        m_events->close();
    }
    wake();
}

void WebConnection::cut()
{
    if (!isOpen()) {
        return;
    }
    const auto self = shared_from_this();
    const auto events = std::exchange(m_events, nullptr);
    const auto pending = m_pending.lock();
    m_source.reset();
    m_descriptor = FileDescriptor();
    if (m_owner != nullptr) {
        m_owner->ended(*this);
    }
    if (events) {
        events->connectionGone();
    }
    if (pending) {
        pending->connectionGone();
    }
}

void WebConnection::abandon()
{
    m_owner = nullptr;
    m_source.reset();
    m_descriptor = FileDescriptor();
    m_events.reset();
}

void WebConnection::takeTurn(short events)
{
    const auto self = shared_from_this();
    if ((events & (POLLIN | POLLHUP | POLLERR)) != 0) {
        receive();
    }
    while (isOpen() && step()) {
    }
    if (isOpen() && isOverdue()) {
        expire();
    }
    if (isOpen()) {
        waitOn();
    }
}

void WebConnection::receive()
{
    // Unasked, the system only tells that the connection is dead.
    if (!m_isListening) {
        cut();
        return;
    }
    std::array<char, bytesInOneTurn> bytes;
    const ssize_t count = ::recv(m_descriptor.get(), bytes.data(), bytes.size(), 0);
    if (count > 0) {
        take(QByteArrayView(bytes.data(), count));
    } else if (count == 0) {
        m_hasEnded = true;
    } else if (errno != EAGAIN && errno != EINTR) {
        cut();
    }
}

void WebConnection::take(QByteArrayView bytes)
{
    switch (m_phase) {
    case Phase::Greeting:
        greet(bytes);
        return;
    case Phase::Plain:
        m_plain.append(bytes.first(std::min(bytes.size(), mostPlainRequestBytes - m_plain.size())));
        return;
    case Phase::Leaving:
        m_drained += static_cast<std::size_t>(bytes.size());
        return;
    default:
        m_tls->receive(bytes);
        collect();
    }
}

void WebConnection::greet(QByteArrayView bytes)
{
    if (bytes.front() != tlsRecord) {
        m_phase = Phase::Plain;
        take(bytes);
        return;
    }
    m_phase = Phase::Reading;
    m_tls.emplace(*m_identity);
    take(bytes);
}

/// Decrypts some of what came; false when there is nothing more.
bool WebConnection::pull()
{
    const QByteArray bytes = m_tls->read(TlsSession::mostBytesAtOnce);
    collect();
    m_reader.append(bytes);
    return !bytes.isEmpty();
}

bool WebConnection::hasEnded() const
{
    const bool isOver = m_tls && m_tls->state() != TlsSession::State::Open &&
                        m_tls->state() != TlsSession::State::Handshake;
    return m_hasEnded || isOver;
}

bool WebConnection::step()
{
    if (!flush()) {
        return false;
    }
    switch (m_phase) {
    case Phase::Greeting:
        return waitForRequest();
    case Phase::Plain:
        return answerPlain();
    case Phase::Reading:
        return readRequest();
    case Phase::Answering:
        return goOnAfterAnswer();
    case Phase::Streaming:
        return stream();
    case Phase::Leaving:
        return leaveFurther();
    }
    return false;
}

bool WebConnection::answerPlain()
{
    const PlainRequest request = readPlainRequest(m_plain);
    if (request == PlainRequest::Incomplete) {
        return waitForRequest();
    }
    if (request == PlainRequest::Other) {
        refusePlain();
        return true;
    }
    const Answer answer = plainAnswer(m_owner->plainPage());
    push(answerHead(answer, Framing::Length, false));
    if (request == PlainRequest::Get) {
        push(answer.body);
    }
    leave();
    return true;
}

void WebConnection::refusePlain()
{
    m_owner->refused(WebRefusal::NotTls, m_peer);
    if (isOpen()) {
        push(answerHead({400, safeApiHeaders(), {}}, Framing::Length, false));
        leave();
    }
}

bool WebConnection::readRequest()
{
    RequestReader::Reading reading = m_reader.next();
    while (std::holds_alternative<std::monostate>(reading) && pull()) {
        reading = m_reader.next();
    }
    return afterReading(reading);
}

bool WebConnection::afterReading(const RequestReader::Reading& reading)
{
    if (const auto* request = std::get_if<RequestReader::Request>(&reading)) {
        handOn(*request);
        return true;
    }
    if (const auto* problem = std::get_if<RequestProblem>(&reading)) {
        refuse(*problem);
        return true;
    }
    if (m_reader.takeContinue()) {
        push("HTTP/1.1 100 Continue\r\n\r\n");
    }
    if (m_reader.hasBegun() && !m_requestBegan) {
        m_requestBegan = Clock::now();
    }
    return waitForRequest();
}

bool WebConnection::waitForRequest()
{
    if (!isFlushed()) {
        return true;
    }
    if (hasEnded()) {
        giveUp();
    }
    return false;
}

/// Ends a connection over which no further request can come.
void WebConnection::giveUp()
{
    if (m_tls && m_tls->state() == TlsSession::State::Broken) {
        m_owner->refused(WebRefusal::NotTls, m_peer);
    }
    cut();
}

void WebConnection::handOn(const RequestReader::Request& request)
{
    m_phase = Phase::Answering;
    m_isAnswered = false;
    m_hadRequest = true;
    m_requestBegan.reset();
    m_keepsConnection = request.head.keepsConnection && !m_isFinishing;
    m_takesChunks = request.head.takesChunks;
    m_wantsNoBody = request.head.method == "HEAD";
    const auto pending = std::make_shared<PendingAnswer>(weak_from_this());
    m_pending = pending;
    m_owner->requested(request, m_peer, WebReply(pending));
}

void WebConnection::refuse(const RequestProblem& problem)
{
    m_owner->refused(problem.cause, m_peer);
    if (!isOpen()) {
        return;
    }
    const Answer answer = errorAnswer(
        problem.status, problem.word,
        problem.status == 405 ? WebHeaders{{"Allow", "GET, HEAD, POST"}} : WebHeaders());
    push(answerHead(answer, Framing::Length, false) + answer.body);
    leave();
}

/// While no request is wanted: notices that the browser ends, and keeps what it sends ahead, of
/// which takesMore() lets little in.
void WebConnection::listenForEnd()
{
    while (pull()) {
    }
}

bool WebConnection::goOnAfterAnswer()
{
    listenForEnd();
    if (!m_isAnswered) {
        if (hasEnded()) {
            cut();
        }
        return false;
    }
    if (!m_keepsConnection || hasEnded()) {
        leave();
        return true;
    }
    m_phase = Phase::Reading;
    m_idleSince = Clock::now();
    return true;
}

bool WebConnection::stream()
{
    listenForEnd();
    if (hasEnded()) {
        cut();
        return false;
    }
    if (m_events->hasEvents()) {
        const QByteArray events = m_events->takeEvents();
        push(m_takesChunks ? chunk(events) : events);
        return true;
    }
    if (m_events->isOpen()) {
        return !isFlushed();
    }
    m_events.reset();
    if (m_takesChunks) {
        push(chunk({}));
    }
    m_isAnswered = true;
    m_phase = Phase::Answering;
    return true;
}

/// Everything was sent. Says so, and waits until the browser has closed its side too.
bool WebConnection::leaveFurther()
{
    if (!std::exchange(m_hasSaidGoodbye, true) && m_tls) {
        m_tls->end();
        collect();
        return true;
    }
    if (!m_shut) {
        ::shutdown(m_descriptor.get(), SHUT_WR);
        m_shut = Clock::now();
    }
    if (hasEnded() || m_drained > mostDrained) {
        cut();
    }
    return false;
}

void WebConnection::push(const QByteArray& bytes)
{
    if (isFlushed()) {
        m_progress = Clock::now();
    }
    m_outbox.push(bytes);
}

/// Sends what can be sent. True when nothing is left.
bool WebConnection::flush()
{
    while (!m_wire.isEmpty() || refill()) {
        const QByteArrayView rest = QByteArrayView(m_wire).sliced(m_wireSent);
        const ssize_t count = ::send(
            m_descriptor.get(), rest.data(), static_cast<std::size_t>(rest.size()), MSG_NOSIGNAL);
        if (count < 0) {
            if (errno != EAGAIN && errno != EINTR) {
                cut();
            }
            return false;
        }
        m_progress = Clock::now();
        m_wireSent += count;
        if (m_wireSent == m_wire.size()) {
            m_wire = QByteArray();
            m_wireSent = 0;
        }
    }
    return true;
}

/// Makes the next bytes ready to be sent; false when there are none.
bool WebConnection::refill()
{
    const QByteArrayView next = m_outbox.front(TlsSession::mostBytesAtOnce);
    if (next.isEmpty()) {
        return false;
    }
    if (m_tls) {
        m_tls->write(next);
        collect();
    } else {
        m_wire = next.toByteArray();
    }
    m_outbox.drop(next.size());
    return !m_wire.isEmpty();
}

/// Takes over what TLS has to send, be it of its own.
void WebConnection::collect()
{
    if (isFlushed()) {
        m_progress = Clock::now();
    }
    m_wire.append(m_tls->takeOutgoing());
}

std::optional<WebConnection::Clock::time_point> WebConnection::due() const
{
    const auto ofPhase = phaseDue();
    if (isFlushed()) {
        return ofPhase;
    }
    const Clock::time_point stalled = m_progress + m_limits.stalledWrite;
    return ofPhase ? std::min(*ofPhase, stalled) : stalled;
}

bool WebConnection::isOverdue() const
{
    const auto when = due();
    return when && *when <= Clock::now();
}

std::optional<WebConnection::Clock::time_point> WebConnection::phaseDue() const
{
    switch (m_phase) {
    case Phase::Greeting:
    case Phase::Plain:
        return m_began + m_limits.firstRequest;
    case Phase::Reading:
        if (!m_hadRequest) {
            return m_began + m_limits.firstRequest;
        }
        return m_requestBegan ? *m_requestBegan + m_limits.laterRequest
                              : m_idleSince + m_limits.idle;
    case Phase::Answering:
    case Phase::Streaming:
        return std::nullopt;
    case Phase::Leaving:
        return m_shut ? std::optional(*m_shut + m_limits.farewell) : std::nullopt;
    }
    return std::nullopt;
}

void WebConnection::expire()
{
    const bool isIdle = m_phase == Phase::Reading && m_hadRequest && !m_requestBegan;
    if (isIdle && isFlushed()) {
        m_tls->end();
        collect();
        (void)flush();
        cut();
        return;
    }
    if (!m_shut) {
        m_owner->refused(WebRefusal::TooSlow, m_peer);
    }
    cut();
}

void WebConnection::waitOn()
{
    m_isListening = takesMore();
    const int input = m_isListening ? POLLIN : 0;
    const int output = isFlushed() ? 0 : POLLOUT;
    m_source->await(static_cast<short>(input | output));
    m_source->wakeAt(due());
}

/// Nothing is read for a browser that does not read itself, nor far beyond the request that is
/// being answered.
bool WebConnection::takesMore() const
{
    if (m_hasEnded || (!isFlushed() && m_phase != Phase::Leaving)) {
        return false;
    }
    const bool isAnswering = m_phase == Phase::Answering || m_phase == Phase::Streaming;
    return !isAnswering || m_reader.waiting() < m_limits.headBytes;
}

} // namespace wingbell
