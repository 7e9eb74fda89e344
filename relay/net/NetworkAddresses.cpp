#include "relay/net/NetworkAddresses.h"

#include <QDir>
#include <QFile>
#include <QNetworkInterface>
#include <QRegularExpression>

#include <algorithm>

namespace wingbell {

namespace {

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
    const QList<QHostAddress> passing = passingAddresses();
    std::vector<InterfaceAddress> result;
    for (const QNetworkInterface& interface : QNetworkInterface::allInterfaces()) {
        InterfaceAddress found;
        found.interface = interface.name();
        found.up = interface.flags().testFlag(QNetworkInterface::IsUp);
        found.loopback = interface.flags().testFlag(QNetworkInterface::IsLoopBack);
        found.hasDevice = hasDevice(found.interface);
        found.wireless = isWireless(found.interface);
        for (const QNetworkAddressEntry& entry : interface.addressEntries()) {
            found.address = entry.ip();
            found.address.setScopeId({});
            found.passing = passing.contains(found.address);
            result.push_back(found);
        }
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

QList<QHostAddress> NetworkAddresses::passingAddresses() const
{
    constexpr qsizetype flagsColumn = 4;
    constexpr uint temporaryDuplicateDeprecatedOrTentative = 0x01 | 0x08 | 0x20 | 0x40;
    QList<QHostAddress> addresses;
    QFile table(m_ipv6Addresses);
    const QByteArray text = table.open(QIODevice::ReadOnly) ? table.readAll() : QByteArray();
    for (const QByteArray& line : text.split('\n')) {
        const QList<QByteArray> columns = line.simplified().split(' ');
        const uint flags = columns.value(flagsColumn).toUInt(nullptr, 16);
        if ((flags & temporaryDuplicateDeprecatedOrTentative) != 0) {
            const QByteArray bytes = QByteArray::fromHex(columns.constFirst());
            if (bytes.size() == sizeof(Q_IPV6ADDR)) {
                addresses.append(QHostAddress(reinterpret_cast<const quint8*>(bytes.constData())));
            }
        }
    }
    return addresses;
}

QStringList hostNames(const QString& hostName)
{
    // Labels of 1 to 63 characters.
    static const QRegularExpression shape(
        QStringLiteral(R"(\A(?!-)[a-z0-9-]{1,63}(?<!-)(\.(?!-)[a-z0-9-]{1,63}(?<!-))*\z)"));
    constexpr qsizetype maxSize = 253;
    const QString name = hostName.toLower();
    // QHostAddress alone would also take shorter forms: 5 as 0.0.0.5.
    const bool isAddress = name.count(QLatin1Char('.')) == 3 && !QHostAddress(name).isNull();
    if (name.size() > maxSize || isAddress || !shape.match(name).hasMatch()) {
        return {};
    }
    QStringList names = {name, name.section(QLatin1Char('.'), 0, 0) + QStringLiteral(".local")};
    names.removeAll(QStringLiteral("localhost"));
    names.removeAll(QStringLiteral("localhost.local"));
    names.removeDuplicates();
    return names;
}

} // namespace wingbell
