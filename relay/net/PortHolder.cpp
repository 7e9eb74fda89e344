#include "relay/net/PortHolder.h"

#include <QByteArray>
#include <QFile>
#include <QList>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <string>
#include <system_error>

namespace wingbell {

namespace {

namespace fs = std::filesystem;

/// The number that all of `text` is.
template <typename Number> std::optional<Number> number(QByteArrayView text, int base)
{
    Number value = 0;
    const auto [end, error] = std::from_chars(text.begin(), text.end(), value, base);
    if (error != std::errc() || end != text.end()) {
        return std::nullopt;
    }
    return value;
}

/// What the kernel prints at `path`; nothing when it cannot be read.
QByteArray kernelText(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Calls `visit` with each entry of the folder until it says true; then true. What cannot be read,
/// or is gone by then, is passed over.
template <typename Visit> bool anyEntry(const fs::path& folder, const Visit& visit)
{
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    while (!error && entry != fs::directory_iterator()) {
        if (visit(entry->path())) {
            return true;
        }
        entry.increment(error);
    }
    return false;
}

bool hasSocket(const fs::path& process, const std::vector<quint64>& inodes)
{
    return anyEntry(process / "fd", [&inodes](const fs::path& descriptor) {
        std::error_code error;
        const std::string link = fs::read_symlink(descriptor, error).native();
        const std::optional<quint64> inode = socketInode(link);
        return inode && std::find(inodes.begin(), inodes.end(), *inode) != inodes.end();
    });
}

/// A line of a table of sockets, as far as it tells who has a port.
struct SocketLine
{
    quint16 localPort = 0;
    quint64 inode = 0;
    QByteArray state;
};

std::optional<SocketLine> socketLine(const QByteArray& line)
{
    constexpr qsizetype localAddressColumn = 1;
    constexpr qsizetype stateColumn = 3;
    constexpr qsizetype inodeColumn = 9;
    const QList<QByteArray> columns = line.simplified().split(' ');
    if (columns.size() <= inodeColumn) {
        return std::nullopt;
    }
    const QByteArray& local = columns.at(localAddressColumn);
    const auto port = number<quint16>(local.mid(local.lastIndexOf(':') + 1), 16);
    const auto inode = number<quint64>(columns.at(inodeColumn), 10);
    if (!port || !inode) {
        return std::nullopt;
    }
    return SocketLine{*port, *inode, columns.at(stateColumn)};
}

/// The inodes of the lines of `table` that `isWanted`.
template <typename Wanted>
std::vector<quint64> inodesIn(QByteArrayView table, const Wanted& isWanted)
{
    std::vector<quint64> inodes;
    for (const QByteArray& line : table.toByteArray().split('\n')) {
        const std::optional<SocketLine> read = socketLine(line);
        if (read && isWanted(*read)) {
            inodes.push_back(read->inode);
        }
    }
    return inodes;
}

std::vector<quint64> inodesAtUdpPort(quint16 port)
{
    std::vector<quint64> inodes = inodesAtPort(kernelText(QStringLiteral("/proc/net/udp")), port);
    const std::vector<quint64> more =
        inodesAtPort(kernelText(QStringLiteral("/proc/net/udp6")), port);
    inodes.insert(inodes.end(), more.begin(), more.end());
    return inodes;
}

std::vector<quint64> inodesAtTcpPort(quint16 port)
{
    std::vector<quint64> inodes =
        listeningInodesAtPort(kernelText(QStringLiteral("/proc/net/tcp")), port);
    const std::vector<quint64> more =
        listeningInodesAtPort(kernelText(QStringLiteral("/proc/net/tcp6")), port);
    inodes.insert(inodes.end(), more.begin(), more.end());
    return inodes;
}

std::optional<PortHolder> holderOf(const std::vector<quint64>& inodes)
{
    if (inodes.empty()) {
        return std::nullopt;
    }
    std::optional<PortHolder> holder;
    anyEntry("/proc", [&inodes, &holder](const fs::path& process) {
        const auto identifier = number<qint64>(process.filename().native(), 10);
        if (!identifier || !hasSocket(process, inodes)) {
            return false;
        }
        const QByteArray name = kernelText(QFile::decodeName((process / "comm").c_str()));
        holder = PortHolder{QString::fromUtf8(name).trimmed(), *identifier};
        return true;
    });
    return holder;
}

} // namespace

std::vector<quint64> inodesAtPort(QByteArrayView table, quint16 port)
{
    return inodesIn(table, [port](const SocketLine& line) { return line.localPort == port; });
}

std::vector<quint64> listeningInodesAtPort(QByteArrayView table, quint16 port)
{
    return inodesIn(table, [port](const SocketLine& line) {
        constexpr QByteArrayView listening("0A");
        return line.localPort == port && line.state == listening;
    });
}

std::optional<quint64> socketInode(QByteArrayView link)
{
    constexpr QByteArrayView before("socket:[");
    if (!link.startsWith(before) || !link.endsWith(']')) {
        return std::nullopt;
    }
    return number<quint64>(link.sliced(before.size()).chopped(1), 10);
}

std::optional<PortHolder> udpPortHolder(quint16 port)
{
    return holderOf(inodesAtUdpPort(port));
}

std::optional<PortHolder> tcpPortHolder(quint16 port)
{
    return holderOf(inodesAtTcpPort(port));
}

} // namespace wingbell
