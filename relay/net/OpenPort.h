#pragma once

#include "base/FileDescriptor.h"

#include <QtGlobal>

namespace wingbell {

/// A port taken on every interface of the machine, or, where `descriptor` is none, the system's
/// error number.
struct OpenPort
{
    enum class Use { Datagrams, Connections };

    FileDescriptor descriptor; ///< never makes a call wait
    bool takesIpv6 = false;
    int error = 0;
};

/// Takes `port` (0: any free one) over IPv6 and IPv4 together; over IPv4 alone only where the
/// machine has no IPv6. A port that another program has, on any address, is not shared: EADDRINUSE.
/// Connections of an earlier run that are still winding down are no hindrance.
[[nodiscard]] OpenPort openPort(OpenPort::Use use, quint16 port);

} // namespace wingbell
