#pragma once

#include <QByteArray>

namespace wingbell {

/// What a browser's answer to an offer of one voice comes down to.
struct MediaAnswer
{
    enum class Setup { Active, Passive };
    enum class Direction { SendReceive, SendOnly, ReceiveOnly, Inactive };

    QByteArray iceUser;         ///< 4 to 256 characters of A-Z a-z 0-9 + /
    QByteArray icePassword;     ///< 22 to 256 of the same
    QByteArray fingerprintHash; ///< "sha-256", "sha-384" or "sha-512"
    QByteArray fingerprint;     ///< "3F:07:...", upper case, as many pairs as the hash has bytes
    Setup setup = Setup::Active;
    Direction direction = Direction::SendReceive; ///< as the browser sees it

    friend bool operator==(const MediaAnswer&, const MediaAnswer&) = default;
};

} // namespace wingbell
