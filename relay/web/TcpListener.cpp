#include "relay/web/TcpListener.h"

#include "relay/net/OpenPort.h"

#include <netinet/in.h>
#include <sys/socket.h>

namespace wingbell {

TcpListener::TcpListener(FileDescriptor descriptor, bool takesIpv6)
    : m_descriptor(std::move(descriptor))
    , m_takesIpv6(takesIpv6)
{
}

TcpListener::Opening TcpListener::open(quint16 port)
{
    OpenPort opened = openPort(OpenPort::Use::Connections, port);
    if (!opened.descriptor.isOpen()) {
        return {std::nullopt, opened.error};
    }
    return {TcpListener(std::move(opened.descriptor), opened.takesIpv6), 0};
}

quint16 TcpListener::port() const
{
    // The port lies at the same place in both families' addresses.
    sockaddr_in6 address = {};
    socklen_t size = sizeof address;
    if (::getsockname(m_descriptor.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        return 0;
    }
    return ntohs(address.sin6_port);
}

} // namespace wingbell
