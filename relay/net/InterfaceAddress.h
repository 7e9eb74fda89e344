#pragma once

#include "relay/net/IpAddress.h"

#include <QString>

namespace wingbell {

/// An address of this machine, and what is known of the network interface that has it.
struct InterfaceAddress
{
    QString interface; ///< as the system names it: "eth0", "wlp2s0"
    IpAddress address;
    bool up = false;
    bool loopback = false;
    bool hasDevice = false; ///< a real adapter is behind it, itself or through a bridge or a bond
    bool wireless = false;
    bool passing = false; ///< an IPv6 address that the system replaces by itself, or may not use

    friend bool operator==(const InterfaceAddress&, const InterfaceAddress&) = default;
};

} // namespace wingbell
