#pragma once

#include "base/FileDescriptor.h"
#include "relay/web/Answer.h"
#include "relay/web/EventSending.h"
#include "relay/web/LoopSource.h"
#include "relay/web/Outbox.h"
#include "relay/web/PendingAnswer.h"
#include "relay/web/RequestReader.h"
#include "relay/web/TlsSession.h"
#include "relay/web/WebConnectionOwner.h"
#include "relay/web/WebLimits.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QHostAddress>

#include <chrono>
#include <memory>
#include <optional>

namespace wingbell {

/// One browser's connection: TLS, one request after the other, each answered before the next is
/// looked at. All of its work is done in its own turn of the main loop, never inside a call of
/// somebody else's, so nobody is called back while he calls.
///
/// A browser that ends its side has gone: what is already on its way is still sent, but an answer
/// that is still being thought about, or a stream of events, is not waited for.
class WebConnection : public std::enable_shared_from_this<WebConnection>
{
public:
    /// Begins at once. `owner` must outlive it, or abandon() it.
    [[nodiscard]] static std::shared_ptr<WebConnection> begin(
        FileDescriptor descriptor, const QHostAddress& peer,
        std::shared_ptr<const TlsIdentity> identity, const WebLimits& limits,
        WebConnectionOwner& owner);

    [[nodiscard]] const QHostAddress& peer() const { return m_peer; }
    [[nodiscard]] bool isOpen() const { return m_descriptor.isOpen(); }

    /// Answers the request that waits.
    void answer(const Answer& answer);

    /// Answers the request that waits with what `events` holds from now on.
    void openEvents(std::shared_ptr<EventSending> events);

    /// Looks soon whether there is something to send.
    void wake();

    /// Takes no further request, and closes when what is to be answered is.
    void finish();

    /// Closes at once, and tells everybody concerned. Only from the main loop.
    void cut();

    /// Closes at once and tells nobody.
    void abandon();

private:
    using Clock = std::chrono::steady_clock;

    enum class Phase {
        Greeting,  ///< nothing has come yet
        Plain,     ///< what came was no TLS
        Reading,   ///< the handshake, a request, or the pause between two
        Answering, ///< the answer is being thought about, or on its way
        Streaming, ///< of events
        Leaving,   ///< the last bytes are on their way, or the browser is about to read them
    };

    WebConnection(
        FileDescriptor descriptor, const QHostAddress& peer,
        std::shared_ptr<const TlsIdentity> identity, const WebLimits& limits,
        WebConnectionOwner& owner);

    void takeTurn(short events);
    void receive();
    void take(QByteArrayView bytes);
    void greet(QByteArrayView bytes);
    [[nodiscard]] bool pull();
    [[nodiscard]] bool hasEnded() const;

    // Each true when there may be more to do at once.
    [[nodiscard]] bool step();
    [[nodiscard]] bool answerPlain();
    [[nodiscard]] bool readRequest();
    [[nodiscard]] bool afterReading(const RequestReader::Reading& reading);
    [[nodiscard]] bool waitForRequest();
    [[nodiscard]] bool goOnAfterAnswer();
    [[nodiscard]] bool stream();
    [[nodiscard]] bool leaveFurther();

    void handOn(const RequestReader::Request& request);
    void refuse(const RequestProblem& problem);
    void refusePlain();
    void giveUp();
    void leave() { m_phase = Phase::Leaving; }
    void listenForEnd();

    void push(const QByteArray& bytes);
    [[nodiscard]] bool flush();
    [[nodiscard]] bool refill();
    void collect();
    [[nodiscard]] bool isFlushed() const { return m_wire.isEmpty() && m_outbox.isEmpty(); }

    [[nodiscard]] std::optional<Clock::time_point> due() const;
    [[nodiscard]] std::optional<Clock::time_point> phaseDue() const;
    [[nodiscard]] bool isOverdue() const;
    void expire();
    void waitOn();
    [[nodiscard]] bool takesMore() const;

    FileDescriptor m_descriptor;
    QHostAddress m_peer;
    std::shared_ptr<const TlsIdentity> m_identity;
    WebLimits m_limits;
    WebConnectionOwner* m_owner;
    std::unique_ptr<LoopSource> m_source;

    Phase m_phase = Phase::Greeting;
    QByteArray m_plain;
    std::optional<TlsSession> m_tls;
    RequestReader m_reader;
    bool m_hasEnded = false;    ///< nothing more comes
    bool m_isListening = false; ///< for more to come

    QByteArray m_wire; ///< as it goes over the network
    qsizetype m_wireSent = 0;
    Outbox m_outbox; ///< not yet encrypted

    std::weak_ptr<PendingAnswer> m_pending;
    std::shared_ptr<EventSending> m_events;
    bool m_isAnswered = false;
    bool m_keepsConnection = true;
    bool m_isFinishing = false;
    bool m_wantsNoBody = false; ///< it was a HEAD
    bool m_takesChunks = true;

    bool m_hasSaidGoodbye = false;
    std::size_t m_drained = 0;

    Clock::time_point m_began = Clock::now();
    bool m_hadRequest = false;
    Clock::time_point m_idleSince;
    std::optional<Clock::time_point> m_requestBegan;
    Clock::time_point m_progress; ///< the last time something was sent
    std::optional<Clock::time_point> m_shut;
};

} // namespace wingbell
