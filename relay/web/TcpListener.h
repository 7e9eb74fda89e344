#pragma once

#include "base/FileDescriptor.h"

#include <QtGlobal>

#include <optional>

namespace wingbell {

/// A TCP port that takes connections, on every interface of the machine. Never waits.
class TcpListener
{
public:
    /// What came of opening a port: the socket, or, where it is missing, the system's error number.
    struct Opening;

    /// Takes `port` (0: any free one) over IPv6 and IPv4 together; over IPv4 alone only where the
    /// machine has no IPv6. A port that another program listens on is not shared: EADDRINUSE.
    /// Connections of an earlier run that are still winding down are no hindrance.
    [[nodiscard]] static Opening open(quint16 port);

    /// The port it listens on.
    [[nodiscard]] quint16 port() const;

    /// Gives the port back. Nobody can connect from then on.
    void close() { m_descriptor = FileDescriptor(); }

    [[nodiscard]] int descriptor() const { return m_descriptor.get(); }

    [[nodiscard]] bool takesIpv6() const { return m_takesIpv6; }

private:
    TcpListener(FileDescriptor descriptor, bool takesIpv6);

    FileDescriptor m_descriptor;
    bool m_takesIpv6;
};

struct TcpListener::Opening
{
    std::optional<TcpListener> listener;
    int error = 0;
};

} // namespace wingbell
