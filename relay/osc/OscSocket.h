#pragma once

#include "base/FileDescriptor.h"

#include <QByteArrayView>
#include <QHostAddress>
#include <QtGlobal>

#include <optional>
#include <vector>

namespace wingbell {

/// The UDP port on which OSC comes in, on every interface of the machine. Never waits.
class OscSocket
{
public:
    /// In bytes: more than the largest datagram there is, over IPv4 and IPv6 alike.
    static constexpr std::size_t largestDatagram = 65536;

    struct Datagram
    {
        QByteArrayView bytes; ///< valid until the next call of receive()
        QHostAddress sender;
    };

    /// What came of opening a port: the socket, or, where it is missing, the system's error number.
    struct Opening;

    /// Takes `port` over IPv6 and IPv4 together; over IPv4 alone only where the machine has no
    /// IPv6. A port that any other program has, on any address, is not shared: EADDRINUSE.
    [[nodiscard]] static Opening open(quint16 port);

    /// The next datagram that has arrived, or nothing.
    [[nodiscard]] std::optional<Datagram> receive();

    /// Gives the port back. Nothing is received from then on.
    void close() { m_descriptor = FileDescriptor(); }

    /// What to wait for until there is something to receive. Stays the socket's.
    [[nodiscard]] int descriptor() const { return m_descriptor.get(); }

    [[nodiscard]] bool takesIpv6() const { return m_takesIpv6; }

private:
    OscSocket(FileDescriptor descriptor, bool takesIpv6);

    FileDescriptor m_descriptor;
    bool m_takesIpv6;
    std::vector<char> m_buffer;
};

struct OscSocket::Opening
{
    std::optional<OscSocket> socket;
    int error = 0;
};

} // namespace wingbell
