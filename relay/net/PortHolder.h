#pragma once

#include <QByteArrayView>
#include <QString>
#include <QtGlobal>

#include <optional>
#include <vector>

namespace wingbell {

/// The program that has a network port.
struct PortHolder
{
    QString name; ///< as the system shortens it, to 15 bytes
    qint64 process = 0;

    friend bool operator==(const PortHolder&, const PortHolder&) = default;
};

/// The inodes of the sockets that have local port `port`, out of a table as the kernel prints it in
/// /proc/net/udp or udp6. Lines that are none of such a table are passed over.
[[nodiscard]] std::vector<quint64> inodesAtPort(QByteArrayView table, quint16 port);

/// The same for a table as in /proc/net/tcp or tcp6, and only for sockets that wait for
/// connections: the connections themselves have the same local port.
[[nodiscard]] std::vector<quint64> listeningInodesAtPort(QByteArrayView table, quint16 port);

/// The socket inode out of what a descriptor links to ("socket:[4711]"); nothing for any other
/// link.
[[nodiscard]] std::optional<quint64> socketInode(QByteArrayView link);

/// Who has UDP port `port` now. Nothing when nobody has it, and when that cannot be told: without
/// special rights one sees into one's own processes only.
[[nodiscard]] std::optional<PortHolder> udpPortHolder(quint16 port);

/// Who waits for connections on TCP port `port` now; nothing in the same cases.
[[nodiscard]] std::optional<PortHolder> tcpPortHolder(quint16 port);

} // namespace wingbell
