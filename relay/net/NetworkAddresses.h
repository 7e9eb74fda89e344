#pragma once

#include <QHostAddress>
#include <QString>
#include <QStringList>

#include <vector>

namespace wingbell {

/// An address of this machine, and what is known of the network interface that has it.
struct InterfaceAddress
{
    QString interface; ///< as the system names it: "eth0", "wlp2s0"
    QHostAddress address;
    bool up = false;
    bool loopback = false;
    bool hasDevice = false; ///< a real adapter is behind it, itself or through a bridge or a bond
    bool wireless = false;
    bool passing = false; ///< an IPv6 address that the system replaces by itself, or may not use

    friend bool operator==(const InterfaceAddress&, const InterfaceAddress&) = default;
};

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

    /// In the system's order, not ranked, without scope ids. Empty when the system tells none.
    [[nodiscard]] std::vector<InterfaceAddress> read() const;

    /// True when a real adapter is behind `interface`.
    [[nodiscard]] bool hasDevice(const QString& interface) const;

    [[nodiscard]] bool isWireless(const QString& interface) const;

private:
    /// The IPv6 addresses that are temporary, deprecated or not (yet) usable. Qt tells the first
    /// two only.
    [[nodiscard]] QList<QHostAddress> passingAddresses() const;

    QString m_interfaces;
    QString m_ipv6Addresses;
};

/// The names under which others may find the machine that calls itself `hostName`: itself, and its
/// first label with .local (mDNS). Lower case; none when `hostName` is no name of a host.
[[nodiscard]] QStringList hostNames(const QString& hostName);

} // namespace wingbell
