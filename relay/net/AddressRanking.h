#pragma once

#include "relay/net/NetworkAddresses.h"

#include <QString>
#include <QtGlobal>

#include <vector>

namespace wingbell {

/// How well the crew can use an address, best first.
enum class AddressRank {
    PrivateIpv4,
    OtherIpv4,
    UniqueLocalIpv6,
    GlobalIpv6,
    Virtual,   ///< of an adapter that exists in software only
    LinkLocal, ///< self-assigned: works inside one cable or wireless network, and not always
    Loopback,  ///< this machine alone
};

[[nodiscard]] AddressRank rankOf(const InterfaceAddress& address);

/// The addresses under which the crew could reach this machine, best first. In one rank, real
/// adapters stand before virtual ones, IPv4 before IPv6, a cable before wireless, and otherwise the
/// order given stays. Interfaces that are down, passing addresses and repetitions are left out, and
/// so is loopback unless there is nothing else.
[[nodiscard]] std::vector<InterfaceAddress>
rankedAddresses(const std::vector<InterfaceAddress>& addresses);

/// "https://192.168.1.5:47000/"; an IPv6 address in brackets, the port left out where it is 443.
[[nodiscard]] QString urlFor(const QHostAddress& address, quint16 port);

/// The same with a host's name.
[[nodiscard]] QString urlFor(const QString& hostName, quint16 port);

} // namespace wingbell
