#include "relay/net/IpAddress.h"

#include <QNetworkInterface>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <netinet/in.h>

namespace wingbell {

QHostAddress ipAddress(const sockaddr_storage& address)
{
    if (address.ss_family != AF_INET6) {
        return QHostAddress(reinterpret_cast<const sockaddr*>(&address));
    }
    sockaddr_in6 six = {};
    std::memcpy(&six, &address, sizeof six);
    QHostAddress result(six.sin6_addr.s6_addr);
    if (IN6_IS_ADDR_V4MAPPED(&six.sin6_addr)) {
        return QHostAddress(result.toIPv4Address());
    }
    if (result.isLinkLocal() && six.sin6_scope_id != 0) {
        result.setScopeId(
            QNetworkInterface::interfaceNameFromIndex(static_cast<int>(six.sin6_scope_id)));
    }
    return result;
}

QString addressText(const QHostAddress& address)
{
    return address.isNull() ? QStringLiteral("an unknown address") : address.toString();
}

QHostAddress clientNetwork(const QHostAddress& address)
{
    if (address.protocol() != QHostAddress::IPv6Protocol) {
        return address;
    }
    constexpr int networkBytes = 8;
    Q_IPV6ADDR bytes = address.toIPv6Address();
    std::fill(std::begin(bytes.c) + networkBytes, std::end(bytes.c), quint8{0});
    return QHostAddress(bytes);
}

QHostAddress neighbourhood(const QHostAddress& address)
{
    constexpr quint32 networkBits = 0xFFFFFF00;
    return address.protocol() == QHostAddress::IPv4Protocol
               ? QHostAddress(address.toIPv4Address() & networkBits)
               : clientNetwork(address);
}

} // namespace wingbell
