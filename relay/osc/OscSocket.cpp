#include "relay/osc/OscSocket.h"

#include "relay/net/IpAddress.h"

#include <cstring>
#include <netinet/in.h>

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

void OscSocket::send(const QByteArray& packet, const QHostAddress& receiver, quint16 port) const
{
    sockaddr_in6 v6 = {};
    sockaddr_in v4 = {};
    const sockaddr* address = reinterpret_cast<const sockaddr*>(&v4);
    socklen_t size = sizeof v4;
    if (m_takesIpv6) {
        const Q_IPV6ADDR bytes = receiver.toIPv6Address(); // mapped, if it is of IPv4
        v6.sin6_family = AF_INET6;
        v6.sin6_port = htons(port);
        v6.sin6_scope_id = receiver.scopeId().toUInt();
        std::memcpy(&v6.sin6_addr, &bytes, sizeof v6.sin6_addr);
        address = reinterpret_cast<const sockaddr*>(&v6);
        size = sizeof v6;
    } else {
        v4.sin_family = AF_INET;
        v4.sin_port = htons(port);
        v4.sin_addr.s_addr = htonl(receiver.toIPv4Address());
    }
    (void)::sendto(
        m_descriptor.get(), packet.constData(), static_cast<std::size_t>(packet.size()), 0, address,
        size);
}

} // namespace wingbell
