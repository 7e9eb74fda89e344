#pragma once

#include "base/FileDescriptor.h"
#include "base/Result.h"

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

    /// Takes `port` over IPv6 and IPv4 together; over IPv4 alone only where the machine has no
    /// IPv6. A port that any other program has, on any address, is not shared. The error is the
    /// system's error number.
    [[nodiscard]] static Result<OscSocket, int> open(quint16 port);

    /// The next datagram that has arrived; nullopt if there is none.
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

} // namespace wingbell
