#include "relay/link/SessionDescription.h"

#include "relay/audio/RedPayload.h"

#include <QList>

namespace wingbell {

namespace {

/// RFC 8445: a host candidate of the only component; the first in the list is the best.
quint32 priorityOf(std::size_t place)
{
    constexpr quint32 host = 126;
    constexpr quint32 component = 1;
    return (host << 24U) | ((0xFFFFU - static_cast<quint32>(place)) << 8U) | (256 - component);
}

} // namespace

QByteArray SessionDescription::offer() const
{
    const QByteArray opus = QByteArray::number(int{opusPayloadType});
    const QByteArray red = QByteArray::number(int{redPayloadType});
    const QByteArray ssrc = QByteArray::number(source);
    QList<QByteArray> lines = {
        "v=0",
        "o=- 1 1 IN IP4 0.0.0.0",
        "s=-",
        "t=0 0",
        "a=ice-lite",
        "a=group:BUNDLE 0",
        "m=audio 9 UDP/TLS/RTP/SAVPF " + opus + ' ' + red,
        "c=IN IP4 0.0.0.0",
        "a=mid:0",
        "a=sendrecv",
        "a=rtcp-mux",
        "a=ice-ufrag:" + QByteArray::fromStdString(ice.ufrag),
        "a=ice-pwd:" + QByteArray::fromStdString(ice.password),
        "a=fingerprint:sha-256 " + fingerprint,
        "a=setup:actpass",
        "a=rtpmap:" + opus + " opus/48000/2",
        "a=fmtp:" + opus + " minptime=10;useinbandfec=1",
        "a=rtcp-fb:" + opus + " nack",
        "a=rtpmap:" + red + " red/48000/2",
        "a=fmtp:" + red + ' ' + opus + '/' + opus,
        "a=ptime:" + QByteArray::number(packetMilliseconds),
        "a=msid:desk desk",
        "a=ssrc:" + ssrc + " cname:wingbell",
    };
    for (std::size_t place = 0; place < addresses.size(); ++place) {
        QHostAddress address = addresses[place];
        address.setScopeId({});
        lines.append(
            "a=candidate:" + QByteArray::number(place + 1) + " 1 udp " +
            QByteArray::number(priorityOf(place)) + ' ' + address.toString().toLatin1() + ' ' +
            QByteArray::number(port) + " typ host");
    }
    lines.append("a=end-of-candidates");
    lines.append("");
    return lines.join("\r\n");
}

} // namespace wingbell
