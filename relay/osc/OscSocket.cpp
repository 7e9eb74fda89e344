#include "relay/osc/OscSocket.h"

#include <cerrno>
#include <netinet/in.h>

namespace wingbell {

namespace {

/// The bound socket, or none and the error that kept it from being one.
struct Bound
{
    FileDescriptor descriptor;
    int error = 0;
};

template <typename Address> Bound bound(int family, const Address& address)
{
    FileDescriptor descriptor(::socket(family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!descriptor.isOpen()) {
        return {{}, errno};
    }
    const int alsoIpv4 = 0;
    if (family == AF_INET6 &&
        ::setsockopt(descriptor.get(), IPPROTO_IPV6, IPV6_V6ONLY, &alsoIpv4, sizeof alsoIpv4) !=
            0) {
        return {{}, errno};
    }
    if (::bind(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
        0) {
        return {{}, errno};
    }
    return {std::move(descriptor), 0};
}

Bound boundToBoth(quint16 port)
{
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_any;
    address.sin6_port = htons(port);
    return bound(AF_INET6, address);
}

Bound boundToIpv4(quint16 port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(port);
    return bound(AF_INET, address);
}

bool meansNoIpv6(int error)
{
    return error == EAFNOSUPPORT || error == EADDRNOTAVAIL;
}

} // namespace

OscSocket::OscSocket(FileDescriptor descriptor, bool takesIpv6)
    : m_descriptor(std::move(descriptor))
    , m_takesIpv6(takesIpv6)
    , m_buffer(largestDatagram)
{
}

OscSocket::Opening OscSocket::open(quint16 port)
{
    Bound both = boundToBoth(port);
    if (both.descriptor.isOpen()) {
        return {OscSocket(std::move(both.descriptor), true), 0};
    }
    if (!meansNoIpv6(both.error)) {
        return {std::nullopt, both.error};
    }
    Bound ipv4 = boundToIpv4(port);
    if (ipv4.descriptor.isOpen()) {
        return {OscSocket(std::move(ipv4.descriptor), false), 0};
    }
    return {std::nullopt, ipv4.error};
}

std::optional<OscSocket::Datagram> OscSocket::receive()
{
    Datagram datagram = {};
    socklen_t size = sizeof datagram.sender;
    const ssize_t count = ::recvfrom(
        m_descriptor.get(), m_buffer.data(), m_buffer.size(), 0,
        reinterpret_cast<sockaddr*>(&datagram.sender), &size);
    if (count < 0) {
        return std::nullopt;
    }
    datagram.bytes = QByteArrayView(m_buffer.data(), count);
    return datagram;
}

} // namespace wingbell
