#include "relay/net/SenderAddress.h"

#include <array>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>

namespace wingbell {

namespace {

/// The address itself, or the IPv4 address that it stands for.
sockaddr_storage unmapped(const sockaddr_storage& address)
{
    sockaddr_in6 six = {};
    std::memcpy(&six, &address, sizeof six);
    if (address.ss_family != AF_INET6 || !IN6_IS_ADDR_V4MAPPED(&six.sin6_addr)) {
        return address;
    }
    constexpr std::size_t bytesBefore = 12;
    sockaddr_in four = {};
    four.sin_family = AF_INET;
    std::memcpy(&four.sin_addr, six.sin6_addr.s6_addr + bytesBefore, sizeof four.sin_addr);
    sockaddr_storage result = {};
    std::memcpy(&result, &four, sizeof four);
    return result;
}

} // namespace

QString numericAddress(const sockaddr_storage& address)
{
    const sockaddr_storage plain = unmapped(address);
    const socklen_t size = plain.ss_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    std::array<char, NI_MAXHOST> text = {};
    if (::getnameinfo(
            reinterpret_cast<const sockaddr*>(&plain), size, text.data(), text.size(), nullptr, 0,
            NI_NUMERICHOST) != 0) {
        return QStringLiteral("an unknown address");
    }
    return QString::fromLatin1(text.data());
}

} // namespace wingbell
