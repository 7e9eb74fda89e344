#pragma once

#include <QString>

#include <sys/socket.h>

namespace wingbell {

/// The numeric address in `address`, without its port. An IPv4 address that came in over an IPv6
/// socket is told as what it is; a link-local one keeps the interface it belongs to.
[[nodiscard]] QString numericAddress(const sockaddr_storage& address);

} // namespace wingbell
