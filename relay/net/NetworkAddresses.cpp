#include "relay/net/NetworkAddresses.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QList>

#include <algorithm>
#include <cstring>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netinet/in.h>

namespace wingbell {

namespace {

struct FreeAddresses
{
    void operator()(ifaddrs* addresses) const { ::freeifaddrs(addresses); }
};
using SystemAddresses = std::unique_ptr<ifaddrs, FreeAddresses>;

SystemAddresses systemAddresses()
{
    ifaddrs* first = nullptr;
    return SystemAddresses(::getifaddrs(&first) == 0 ? first : nullptr);
}

std::optional<IpAddress> addressOf(const ifaddrs& entry)
{
    if (entry.ifa_addr == nullptr) {
        return std::nullopt;
    }
    const auto family = entry.ifa_addr->sa_family;
    if (family != AF_INET && family != AF_INET6) {
        return std::nullopt;
    }
    sockaddr_storage storage = {};
    std::memcpy(
        &storage, entry.ifa_addr, family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6));
    return IpAddress::fromSocket(storage);
}

/// A second address may bear a label of its own: "eth0:1" is of "eth0".
QString interfaceOf(const ifaddrs& entry)
{
    return QFile::decodeName(entry.ifa_name).section(QLatin1Char(':'), 0, 0);
}

QByteArray kernelText(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Bridges, bonds and virtual networks on a cable stand on other interfaces; `depth` bounds how
/// many stand on one another.
bool hasDeviceBelow(const QDir& interfaces, const QString& interface, int depth)
{
    const QDir folder(interfaces.filePath(interface));
    if (folder.exists(QStringLiteral("device"))) {
        return true;
    }
    const QStringList below =
        folder.entryList({QStringLiteral("lower_*")}, QDir::AllEntries | QDir::System);
    return depth > 0 && std::any_of(below.begin(), below.end(), [&](const QString& entry) {
               return hasDeviceBelow(interfaces, entry.section(QLatin1Char('_'), 1), depth - 1);
           });
}

} // namespace

NetworkAddresses::NetworkAddresses(QString interfaces, QString ipv6Addresses)
    : m_interfaces(std::move(interfaces))
    , m_ipv6Addresses(std::move(ipv6Addresses))
{
}

std::vector<InterfaceAddress> NetworkAddresses::read() const
{
    const std::vector<IpAddress> passing = passingAddresses(kernelText(m_ipv6Addresses));
    const SystemAddresses system = systemAddresses();
    std::vector<InterfaceAddress> result;
    for (const ifaddrs* entry = system.get(); entry != nullptr; entry = entry->ifa_next) {
        const std::optional<IpAddress> address = addressOf(*entry);
        if (!address) {
            continue;
        }
        InterfaceAddress found = {interfaceOf(*entry), *address};
        found.up = (entry->ifa_flags & IFF_UP) != 0;
        found.loopback = (entry->ifa_flags & IFF_LOOPBACK) != 0;
        found.hasDevice = hasDevice(found.interface);
        found.wireless = isWireless(found.interface);
        found.passing = std::find(passing.begin(), passing.end(), *address) != passing.end();
        result.push_back(found);
    }
    return result;
}

bool NetworkAddresses::hasDevice(const QString& interface) const
{
    constexpr int deepest = 4;
    return hasDeviceBelow(QDir(m_interfaces), interface, deepest);
}

bool NetworkAddresses::isWireless(const QString& interface) const
{
    const QDir folder(QDir(m_interfaces).filePath(interface));
    return folder.exists(QStringLiteral("wireless")) || folder.exists(QStringLiteral("phy80211"));
}

std::vector<IpAddress> passingAddresses(QByteArrayView table)
{
    constexpr qsizetype flagsColumn = 4;
    constexpr uint temporary = 0x01;
    constexpr uint duplicate = 0x08;
    constexpr uint deprecated = 0x20;
    constexpr uint tentative = 0x40;
    std::vector<IpAddress> addresses;
    for (const QByteArray& line : table.toByteArray().split('\n')) {
        const QList<QByteArray> columns = line.simplified().split(' ');
        if (columns.size() <= flagsColumn) {
            continue;
        }
        bool isNumber = false;
        const uint flags = columns.at(flagsColumn).toUInt(&isNumber, 16);
        const QByteArray bytes = QByteArray::fromHex(columns.at(0));
        IpAddress::Ipv6Bytes address = {};
        // Whatever is no digit is passed over in reading them, so they are compared afterwards.
        const bool isAddress =
            bytes.size() == qsizetype{sizeof address} && bytes.toHex() == columns.at(0).toLower();
        if (isNumber && isAddress &&
            (flags & (temporary | duplicate | deprecated | tentative)) != 0) {
            std::copy(bytes.begin(), bytes.end(), address.begin());
            addresses.push_back(IpAddress(address));
        }
    }
    return addresses;
}

} // namespace wingbell
