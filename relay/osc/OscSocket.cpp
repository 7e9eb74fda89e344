#include "relay/osc/OscSocket.h"

#include "relay/net/IpAddress.h"

namespace wingbell {

OscSocket::OscSocket(OpenPort port)
    : m_descriptor(std::move(port.descriptor))
    , m_takesIpv6(port.takesIpv6)
    , m_buffer(maxDatagram)
{
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
