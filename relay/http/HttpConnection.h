#pragma once

#include "base/FileDescriptor.h"
#include "relay/http/HttpLimits.h"
#include "relay/http/PendingResponse.h"
#include "relay/http/RequestReader.h"

#include <QHostAddress>
#include <QSocketNotifier>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTimer>

#include <chrono>
#include <optional>
#include <utility>
#include <vector>

namespace wingbell {

/// One browser's connection: TLS, one request after the other, each answered before the next is
/// looked at. All of its work is done in its own turn of the event loop, never inside a call of
/// its owner, a handle or the socket.
///
/// A browser that closes its side has gone: nothing more is sent to it.
class HttpConnection final : public ResponseSink
{
public:
    /// What a connection needs to be told or done. Called from the event loop.
    class Owner
    {
    public:
        /// A request came that is whole and within the limits.
        virtual void requested(const HttpRequest& request, PendingResponse response) = 0;

        /// The response to plain HTTP.
        [[nodiscard]] virtual const Response& plainPage(const QByteArray& path) const = 0;

        virtual void rejected(HttpError error, const QHostAddress& peer) = 0;

        /// The connection is closed. To be deleted later, not inside this call.
        virtual void closed(HttpConnection& connection) = 0;

    protected:
        ~Owner() = default;
    };

    /// Takes over `descriptor`, which is connected. `owner` must outlive it.
    HttpConnection(
        FileDescriptor descriptor, const QHostAddress& peer, const QSslConfiguration& tls,
        const HttpLimits& limits, Owner& owner);
    Q_DISABLE_COPY_MOVE(HttpConnection)

    /// Closes at once, without telling the owner.
    ~HttpConnection() override;

    [[nodiscard]] const QHostAddress& peer() const { return m_peer; }

    using Clock = std::chrono::steady_clock;

    /// Since when it has been waiting for its client: to send a whole request, to read the whole
    /// response, or to close. nullopt while a response is being made or events are streamed.
    [[nodiscard]] std::optional<Clock::time_point> waitingSince() const;

    /// Closes at once, to make room for another client, and tells the owner. Only from the event
    /// loop.
    void giveWay();

    /// Takes no further request, and closes when what is to be answered is.
    void finish();

    /// Closes at once, and tells the owner. Only from the event loop.
    void cut();

    void respond(const Response& response) override;
    [[nodiscard]] bool openEvents() override;
    [[nodiscard]] bool hasOpenEvents() const override;
    void sendEvent(const QByteArray& name, const QByteArray& data) override;
    void closeEvents() override;

private:
    enum class Phase {
        Connected,  ///< nothing has come yet
        Plain,      ///< what came is not TLS
        Reading,    ///< the handshake, a request, or the pause between two
        Responding, ///< the response is being made
        Streaming,  ///< of events
        Responded,  ///< the response is on its way
        Closing,    ///< about to be
        Lingering,  ///< the last bytes are on their way, or the browser is about to read them
        Closed,
    };

    [[nodiscard]] bool isOpen() const { return m_phase != Phase::Closed; }
    void wake();
    void takeTurn();
    void expire();
    void endIdle();
    void noteError(QAbstractSocket::SocketError error);
    [[nodiscard]] bool hasEnded() const;

    // Each returns true when there may be more to do at once.
    [[nodiscard]] bool step();
    [[nodiscard]] bool detectTls();
    [[nodiscard]] bool answerPlain();
    [[nodiscard]] bool readRequest();
    [[nodiscard]] bool waitForRequest();
    [[nodiscard]] bool stream();
    [[nodiscard]] bool finishResponse();
    [[nodiscard]] bool beginLingering();
    [[nodiscard]] bool linger();

    void handOn(HttpRequest request);
    void refuse(const RequestError& error);
    void send(const Response& response);
    void write(const QByteArray& bytes);
    [[nodiscard]] bool drain();

    [[nodiscard]] bool flush();
    [[nodiscard]] qint64 unsentBytes() const;
    [[nodiscard]] bool isFlushed() const { return m_body.isEmpty() && unsentBytes() == 0; }

    QHostAddress m_peer;
    QSslConfiguration m_tls;
    HttpLimits m_limits;
    Owner& m_owner;

    QSslSocket m_socket;
    std::optional<QSocketNotifier> m_resetNotifier; ///< set unless it had gone at once
    QTimer m_deadline; ///< of the handshake, a request, a response, a keep-alive pause, the close
    QTimer m_stalled;  ///< runs out when nothing was sent for too long
    bool m_isWoken = false;

    Phase m_phase = Phase::Connected;
    Clock::time_point m_waitingSince = Clock::now();
    bool m_isIdle = false; ///< in the keep-alive pause between a response and the next request
    bool m_hasFailed = false;
    bool m_tlsIsBroken = false;
    bool m_hasAlert = false; ///< the browser said in TLS what it dislikes

    QByteArray m_plain;
    RequestReader m_reader;
    QByteArray m_body; ///< too large to be encrypted as a whole
    qsizetype m_bodySent = 0;
    std::vector<std::pair<QByteArray, QByteArray>> m_events; ///< not yet on their way
    bool m_hasOpenEvents = false;

    bool m_keepsConnection = true;
    bool m_isFinishing = false;
    bool m_wantsNoBody = false; ///< the request is a HEAD
    bool m_takesChunks = true;

    FileDescriptor m_lingering; ///< keeps the TCP connection when the socket is closed
    std::optional<QSocketNotifier> m_drainNotifier;
    std::size_t m_drained = 0;
};

} // namespace wingbell
