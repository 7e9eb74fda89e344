#include "relay/net/OpenPort.h"

#include <cerrno>
#include <netinet/in.h>
#include <sys/socket.h>

namespace wingbell {

namespace {

/// Connections that may wait to be accepted.
constexpr int backlog = 128;

bool isSwitched(const FileDescriptor& descriptor, int level, int option, int value)
{
    return ::setsockopt(descriptor.get(), level, option, &value, sizeof value) == 0;
}

/// A restart must not wait for the last run's connections to time out, and of two that listen the
/// second still fails; of two that take datagrams it would not.
bool isPrepared(const FileDescriptor& descriptor, OpenPort::Use use, int family)
{
    return (use == OpenPort::Use::Datagrams ||
            isSwitched(descriptor, SOL_SOCKET, SO_REUSEADDR, 1)) &&
           (family != AF_INET6 || isSwitched(descriptor, IPPROTO_IPV6, IPV6_V6ONLY, 0));
}

template <typename Address> OpenPort opened(OpenPort::Use use, int family, const Address& address)
{
    const int type = use == OpenPort::Use::Datagrams ? SOCK_DGRAM : SOCK_STREAM;
    FileDescriptor descriptor(::socket(family, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!descriptor.isOpen() || !isPrepared(descriptor, use, family) ||
        ::bind(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0 ||
        (use == OpenPort::Use::Connections && ::listen(descriptor.get(), backlog) != 0)) {
        return {{}, false, errno};
    }
    return {std::move(descriptor), family == AF_INET6, 0};
}

OpenPort openedForBoth(OpenPort::Use use, quint16 port)
{
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_any;
    address.sin6_port = htons(port);
    return opened(use, AF_INET6, address);
}

OpenPort openedForIpv4(OpenPort::Use use, quint16 port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(port);
    return opened(use, AF_INET, address);
}

bool meansNoIpv6(int error)
{
    return error == EAFNOSUPPORT || error == EADDRNOTAVAIL;
}

} // namespace

OpenPort openPort(OpenPort::Use use, quint16 port)
{
    OpenPort both = openedForBoth(use, port);
    return meansNoIpv6(both.error) ? openedForIpv4(use, port) : std::move(both);
}

} // namespace wingbell
