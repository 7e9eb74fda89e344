#pragma once

#include "relay/http/RequestLimiter.h"
#include "relay/osc/OscRequest.h"
#include "relay/osc/OscSocket.h"
#include "relay/sessions/Crew.h"

#include <QSet>

#include <deque>

namespace wingbell {

class Announcer;
class EventLog;

/// Receives OSC packets and has done what they ask: announcements, calls and cue lights. Sends
/// acknowledgements to those who have asked for them. Main thread only.
class OscInput
{
public:
    /// The rate limit of calls and lights for one sender, a token bucket.
    static constexpr double signalsASecond = 20;
    static constexpr int signalsAtOnce = 60;
    /// How many senders can get acknowledgements; the one that asked first gives way.
    static constexpr std::size_t maxReplies = 16;

    /// Takes over the bound `socket`; borrows the others, which must outlive it.
    OscInput(
        const ShowPatch& show, OscSocket socket, Announcer& announcer, Crew& crew, EventLog& log);
    Q_DISABLE_COPY_MOVE(OscInput)

    /// Readable when there is something to receive.
    [[nodiscard]] int descriptor() const { return m_socket.descriptor(); }

    /// Handles the packets that have arrived, a bounded number of them.
    void receive();

    /// Receives and sends nothing any more.
    void stop() { m_socket.close(); }

private:
    struct ReplyAddress
    {
        QHostAddress address;
        quint16 port = 0;

        friend bool operator==(const ReplyAddress&, const ReplyAddress&) = default;
    };

    void handle(const OscSocket::Datagram& datagram);
    void reject(const OscError& error, const QHostAddress& sender);
    void signal(const SignalRequest& request, const QHostAddress& sender);
    void replyTo(const ReplyAddress& receiver);
    void acknowledged(
        const QString& role, const QString& channel, const Signals::Acknowledged& what) const;

    const ShowPatch& m_show;
    QSet<QString> m_channels;
    OscSocket m_socket;
    Announcer& m_announcer;
    Crew& m_crew;
    EventLog& m_log;
    RequestLimiter m_limiter;
    std::deque<ReplyAddress> m_replies; ///< who asked first stands first
};

} // namespace wingbell
