#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <vector>

namespace wingbell {

/// What the page's SDP answer to the offer of one audio section says, word by word. The page takes
/// its browser's answer apart; the server reads no SDP.
struct SdpAnswer
{
    QByteArray iceUfrag;    ///< RFC 8839: 4 to 256 of A-Z a-z 0-9 + /
    QByteArray icePwd;      ///< 22 to 256 of the same characters
    QByteArray fingerprint; ///< of the DTLS certificate by sha-256: 32 pairs, "3F:07:...:A0"
    QByteArray setup;       ///< "active" or "passive"
    QByteArray direction; ///< "sendrecv", "sendonly", "recvonly" or "inactive", as the page sees it
    std::vector<quint32> sources; ///< the SSRCs it sends from: at least one if it sends
    bool red = false;             ///< whether it takes redundant audio (RFC 2198)

    /// Whether each word is as said above. What a page sent must be valid before it is used.
    [[nodiscard]] bool isValid() const;

    static constexpr std::size_t maxSources = 4;

    /// Whether the page sends audio.
    [[nodiscard]] bool sends() const;

    friend bool operator==(const SdpAnswer&, const SdpAnswer&) = default;
};

} // namespace wingbell
