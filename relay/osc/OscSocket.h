#pragma once

#include "relay/net/Port.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QHostAddress>
#include <QtGlobal>

#include <optional>
#include <vector>

namespace wingbell {

/// The UDP port on which OSC comes in, on every interface of the machine. Never blocks.
class OscSocket
{
public:
    /// In bytes: more than the largest datagram there is, over IPv4 and IPv6 alike.
    static constexpr std::size_t maxDatagram = 65536;

    struct Datagram
    {
        QByteArrayView bytes; ///< valid until the next call of receive()
        QHostAddress sender;
    };

    /// Takes over a port of UDP.
    explicit OscSocket(OpenPort port);

    /// The next datagram that has arrived; nullopt if there is none.
    [[nodiscard]] std::optional<Datagram> receive();

    /// Sends `packet` from this port to one of `receiver`; lost if that does not work at once.
    void send(const QByteArray& packet, const QHostAddress& receiver, quint16 port) const;

    /// Gives the port back. Nothing is received from then on.
    void close() { m_descriptor = FileDescriptor(); }

    /// What to wait for until there is something to receive. Stays the socket's.
    [[nodiscard]] int descriptor() const { return m_descriptor.get(); }

    [[nodiscard]] bool takesIpv6() const { return m_takesIpv6; }

private:
    FileDescriptor m_descriptor;
    bool m_takesIpv6;
    std::vector<char> m_buffer;
};

} // namespace wingbell
