#pragma once

#include "relay/link/ConnectivityChecks.h"

#include <QByteArray>
#include <QHostAddress>

#include <cstdint>
#include <vector>

namespace wingbell {

/// What an SDP offer of one audio section says: ICE-lite, Opus, everything over one way.
struct SessionDescription
{
    IceCredentials ice;
    QByteArray fingerprint; ///< of the DTLS certificate by sha-256: 32 pairs
    std::uint32_t source = 0;
    std::vector<QHostAddress> addresses; ///< at which the socket can be reached, best first
    quint16 port = 0;
    int packetMilliseconds = 20;

    /// The offer (RFC 8866, RFC 8839).
    [[nodiscard]] QByteArray offer() const;
};

} // namespace wingbell
