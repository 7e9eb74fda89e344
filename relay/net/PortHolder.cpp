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

std::vector<quint64> inodesAtUdpPort(quint16 port)
{
    std::vector<quint64> inodes = inodesAtPort(kernelText(QStringLiteral("/proc/net/udp")), port);
    const std::vector<quint64> more =
        inodesAtPort(kernelText(QStringLiteral("/proc/net/udp6")), port);
    inodes.insert(inodes.end(), more.begin(), more.end());
    return inodes;
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

} // namespace

std::vector<quint64> inodesAtPort(QByteArrayView table, quint16 port)
{
    constexpr qsizetype localAddressColumn = 1;
    constexpr qsizetype inodeColumn = 9;
    std::vector<quint64> inodes;
    for (const QByteArray& line : table.toByteArray().split('\n')) {
        const QList<QByteArray> columns = line.simplified().split(' ');
        if (columns.size() <= inodeColumn) {
            continue;
        }
        const QByteArray& local = columns.at(localAddressColumn);
        const QByteArray localPort = local.mid(local.lastIndexOf(':') + 1);
        const auto inode = number<quint64>(columns.at(inodeColumn), 10);
        if (number<quint16>(localPort, 16) == port && inode) {
            inodes.push_back(*inode);
        }
    }
    return inodes;
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
    const std::vector<quint64> inodes = inodesAtUdpPort(port);
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

} // namespace wingbell
