#include "relay/net/AddressRanking.h"

#include <QLatin1String>
#include <QUrl>

#include <algorithm>
#include <array>
#include <tuple>

namespace wingbell {

namespace {

/// What programs name the adapters that they make: containers, virtual machines, private networks.
constexpr std::array<QLatin1String, 12> virtualBeginnings = {
    QLatin1String("docker"), QLatin1String("br-"),       QLatin1String("veth"),
    QLatin1String("virbr"),  QLatin1String("vmnet"),     QLatin1String("vboxnet"),
    QLatin1String("tun"),    QLatin1String("tap"),       QLatin1String("wg"),
    QLatin1String("zt"),     QLatin1String("tailscale"), QLatin1String("lxc")};

bool isVirtual(const InterfaceAddress& address)
{
    return !address.hasDevice || std::any_of(
                                     virtualBeginnings.begin(), virtualBeginnings.end(),
                                     [&address](QLatin1String beginning) {
                                         return address.interface.startsWith(beginning);
                                     });
}

bool isIpv4(const QHostAddress& address)
{
    return address.protocol() == QHostAddress::IPv4Protocol;
}

/// Of a network of one's own: 10/8, 172.16/12, 192.168/16 or fc00::/7.
bool isPrivate(const QHostAddress& address)
{
    return address.isUniqueLocalUnicast() ||
           address.isInSubnet(QHostAddress(QStringLiteral("10.0.0.0")), 8) ||
           address.isInSubnet(QHostAddress(QStringLiteral("172.16.0.0")), 12) ||
           address.isInSubnet(QHostAddress(QStringLiteral("192.168.0.0")), 16);
}

bool isOfUse(const InterfaceAddress& address)
{
    return address.up && !address.passing && address.address != QHostAddress::AnyIPv4 &&
           address.address != QHostAddress::AnyIPv6 && !address.address.isMulticast();
}

/// Smaller is better: what tells addresses of one rank apart. In a room with both, a cable drops
/// out less than the air; and a person reads an IPv4 address more easily.
std::tuple<AddressRank, bool, bool, bool> order(const InterfaceAddress& address)
{
    return {rankOf(address), isVirtual(address), !isIpv4(address.address), address.wireless};
}

} // namespace

AddressRank rankOf(const InterfaceAddress& address)
{
    if (address.loopback || address.address.isLoopback()) {
        return AddressRank::Loopback;
    }
    if (address.address.isLinkLocal()) {
        return AddressRank::LinkLocal;
    }
    if (isVirtual(address)) {
        return AddressRank::Virtual;
    }
    if (isIpv4(address.address)) {
        return isPrivate(address.address) ? AddressRank::PrivateIpv4 : AddressRank::OtherIpv4;
    }
    return isPrivate(address.address) ? AddressRank::UniqueLocalIpv6 : AddressRank::GlobalIpv6;
}

std::vector<InterfaceAddress> rankedAddresses(const std::vector<InterfaceAddress>& addresses)
{
    std::vector<InterfaceAddress> ranked;
    std::copy_if(addresses.begin(), addresses.end(), std::back_inserter(ranked), isOfUse);
    std::stable_sort(ranked.begin(), ranked.end(), [](const auto& left, const auto& right) {
        return order(left) < order(right);
    });
    std::vector<InterfaceAddress> result;
    for (const InterfaceAddress& address : ranked) {
        const bool known = std::any_of(result.begin(), result.end(), [&address](const auto& other) {
            return other.address == address.address;
        });
        const bool hidden = !result.empty() && rankOf(address) == AddressRank::Loopback &&
                            rankOf(result.front()) != AddressRank::Loopback;
        if (!known && !hidden) {
            result.push_back(address);
        }
    }
    return result;
}

QString urlFor(const QHostAddress& address, quint16 port)
{
    return urlFor(address.toString(), port);
}

QString urlFor(const QString& hostName, quint16 port)
{
    constexpr int httpsPort = 443;
    constexpr int noPort = -1;
    QUrl url;
    url.setScheme(QStringLiteral("https"));
    url.setHost(hostName);
    url.setPort(port == httpsPort ? noPort : port);
    url.setPath(QStringLiteral("/"));
    return url.toString();
}

} // namespace wingbell
