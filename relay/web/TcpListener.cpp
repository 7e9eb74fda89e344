#include "relay/web/TcpListener.h"

#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>

namespace wingbell {

namespace {

/// Connections that may wait to be accepted.
constexpr int backlog = 128;

/// The listening socket, or none and the error that kept it from being one.
struct Listening
{
    FileDescriptor descriptor;
    int error = 0;
};

bool switched(const FileDescriptor& descriptor, int level, int option, int value)
{
    return ::setsockopt(descriptor.get(), level, option, &value, sizeof value) == 0;
}

template <typename Address> Listening listening(int family, const Address& address)
{
    FileDescriptor descriptor(::socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!descriptor.isOpen()) {
        return {{}, errno};
    }
    // A restart must not wait for the last run's connections to time out. Of two that listen the
    // second still fails.
    if (!switched(descriptor, SOL_SOCKET, SO_REUSEADDR, 1)) {
        return {{}, errno};
    }
    if (family == AF_INET6 && !switched(descriptor, IPPROTO_IPV6, IPV6_V6ONLY, 0)) {
        return {{}, errno};
    }
    if (::bind(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0 ||
        ::listen(descriptor.get(), backlog) != 0) {
        return {{}, errno};
    }
    return {std::move(descriptor), 0};
}

Listening listeningOnBoth(quint16 port)
{
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_any;
    address.sin6_port = htons(port);
    return listening(AF_INET6, address);
}

Listening listeningOnIpv4(quint16 port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(port);
    return listening(AF_INET, address);
}

bool meansNoIpv6(int error)
{
    return error == EAFNOSUPPORT || error == EADDRNOTAVAIL;
}

} // namespace

TcpListener::TcpListener(FileDescriptor descriptor, bool takesIpv6)
    : m_descriptor(std::move(descriptor))
    , m_takesIpv6(takesIpv6)
{
}

TcpListener::Opening TcpListener::open(quint16 port)
{
    Listening both = listeningOnBoth(port);
    if (both.descriptor.isOpen()) {
        return {TcpListener(std::move(both.descriptor), true), 0};
    }
    if (!meansNoIpv6(both.error)) {
        return {std::nullopt, both.error};
    }
    Listening ipv4 = listeningOnIpv4(port);
    if (ipv4.descriptor.isOpen()) {
        return {TcpListener(std::move(ipv4.descriptor), false), 0};
    }
    return {std::nullopt, ipv4.error};
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
