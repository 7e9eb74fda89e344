#pragma once

#include "base/FileDescriptor.h"
#include "base/Result.h"

#include <QByteArrayView>
#include <QString>
#include <QtGlobal>

#include <optional>
#include <system_error>

namespace wingbell {

enum class PortType { Udp, Tcp };

/// A port taken on every interface of the machine; one of TCP listens.
struct OpenPort
{
    FileDescriptor descriptor; ///< non-blocking
    bool takesIpv6 = false;
};

/// Takes `port` (0: any free one) over IPv6 and IPv4 together; over IPv4 alone only where the
/// machine has no IPv6. A port that another program has, on any address, is not shared: the error
/// is std::errc::address_in_use. Connections of an earlier run that are still winding down are no
/// hindrance.
[[nodiscard]] Result<OpenPort, std::error_code> openPort(PortType type, quint16 port);

/// The program that has a network port.
struct PortHolder
{
    QString name; ///< as the system shortens it, to 15 bytes
    qint64 process = 0;

    friend bool operator==(const PortHolder&, const PortHolder&) = default;
};

/// The first program named in what ss prints; nullopt where it names none.
[[nodiscard]] std::optional<PortHolder> firstHolder(QByteArrayView sockets);

/// Which program has UDP port `port`, or listens on TCP port `port`, now. nullopt when none has it,
/// and when that cannot be told: ss (iproute2) is missing or takes longer than a second, or the
/// program is of another user, whose processes one sees only with special rights.
[[nodiscard]] std::optional<PortHolder> portHolder(PortType type, quint16 port);

} // namespace wingbell
