#pragma once

#include <QHostAddress>
#include <QString>

#include <sys/socket.h>

namespace wingbell {

/// The address in `address`, without its port; null for any other family than IPv4 and IPv6.
///
/// An IPv4 address that came in over an IPv6 socket (::ffff:192.168.1.5) is that IPv4 address, so
/// that a sender has one address. A link-local one has the interface that it belongs to as its
/// scope id, which does not count in comparisons.
[[nodiscard]] QHostAddress ipAddress(const sockaddr_storage& address);

/// For a person: without brackets, with the interface of a link-local one.
[[nodiscard]] QString addressText(const QHostAddress& address);

/// The key under which one client is counted: an IPv4 address itself; of an IPv6 address its /64
/// network, because a client may choose other last bits for every connection.
[[nodiscard]] QHostAddress clientNetwork(const QHostAddress& address);

/// The network that shares one limit where all are taken: the /24 of an IPv4 address, the /64 of an
/// IPv6 address.
[[nodiscard]] QHostAddress neighbourhood(const QHostAddress& address);

} // namespace wingbell
