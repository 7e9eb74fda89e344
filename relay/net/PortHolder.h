#pragma once

#include <QByteArrayView>
#include <QString>
#include <QtGlobal>

#include <optional>

namespace wingbell {

/// The program that has a network port.
struct PortHolder
{
    QString name; ///< as the system shortens it, to 15 bytes
    qint64 process = 0;

    friend bool operator==(const PortHolder&, const PortHolder&) = default;
};

/// The first program named in what ss prints; nothing where it names none.
[[nodiscard]] std::optional<PortHolder> firstHolder(QByteArrayView sockets);

/// Who has UDP port `port` now. Nothing when no program has it, and when that cannot be told: ss
/// (iproute2) is missing or takes longer than a second, or the program is of another user, whose
/// processes one sees only with special rights.
[[nodiscard]] std::optional<PortHolder> udpPortHolder(quint16 port);

/// Who waits for connections on TCP port `port` now; nothing in the same cases.
[[nodiscard]] std::optional<PortHolder> tcpPortHolder(quint16 port);

} // namespace wingbell
