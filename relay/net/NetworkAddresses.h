#pragma once

#include "relay/net/InterfaceAddress.h"

#include <QString>

#include <vector>

namespace wingbell {

/// Reads the addresses that this machine has now.
class NetworkAddresses
{
public:
    /// What the kernel tells stands in `interfaces` (/sys/class/net) and in the table
    /// `ipv6Addresses` (/proc/net/if_inet6). Where these cannot be read, every adapter counts as a
    /// virtual one and no address as passing.
    explicit NetworkAddresses(
        QString interfaces = QStringLiteral("/sys/class/net"),
        QString ipv6Addresses = QStringLiteral("/proc/net/if_inet6"));

    /// In the system's order, not ranked. Empty when the system tells none.
    [[nodiscard]] std::vector<InterfaceAddress> read() const;

    /// True when a real adapter is behind `interface`.
    [[nodiscard]] bool hasDevice(const QString& interface) const;

    [[nodiscard]] bool isWireless(const QString& interface) const;

private:
    QString m_interfaces;
    QString m_ipv6Addresses;
};

/// The IPv6 addresses that a table as the kernel prints it in /proc/net/if_inet6 tells to be
/// temporary, deprecated or not (yet) usable. Lines that are none of such a table are passed over.
[[nodiscard]] std::vector<IpAddress> passingAddresses(QByteArrayView table);

} // namespace wingbell
