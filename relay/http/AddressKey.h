#pragma once

#include <array>
#include <cstdint>
#include <sys/socket.h>

namespace wingbell {

/// An address without its port, fit to be counted by: an IPv4 address that came in over an IPv6
/// socket is the same as one that did not.
using AddressKey = std::array<std::uint8_t, 16>;

[[nodiscard]] AddressKey addressKey(const sockaddr_storage& address);

} // namespace wingbell
