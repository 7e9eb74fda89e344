#include "relay/osc/OscSocket.h"

#include "relay/net/IpAddress.h"
#include "relay/net/Port.h"

namespace wingbell {

OscSocket::OscSocket(FileDescriptor descriptor, bool takesIpv6)
    : m_descriptor(std::move(descriptor))
    , m_takesIpv6(takesIpv6)
    , m_buffer(maxDatagram)
{
}

Result<OscSocket, int> OscSocket::open(quint16 port)
{
    OpenPort opened = openPort(OpenPort::Use::Datagrams, port);
    if (!opened.descriptor.isOpen()) {
        return failure(opened.error);
    }
    return OscSocket(std::move(opened.descriptor), opened.takesIpv6);
}

std::optional<OscSocket::Datagram> OscSocket::receive()
{
    sockaddr_storage sender = {};
    socklen_t size = sizeof sender;
    const ssize_t count = ::recvfrom(
        m_descriptor.get(), m_buffer.data(), m_buffer.size(), 0,
        reinterpret_cast<sockaddr*>(&sender), &size);
    if (count < 0) {
        return std::nullopt;
    }
    return Datagram{QByteArrayView(m_buffer.data(), count), ipAddress(sender)};
}

} // namespace wingbell
