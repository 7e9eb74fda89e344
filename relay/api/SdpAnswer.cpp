#include "relay/api/SdpAnswer.h"

#include <QCryptographicHash>
#include <QList>
#include <QSslCertificate>

#include <algorithm>

namespace wingbell {

namespace {

bool isIceCharacter(char character)
{
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           (character >= '0' && character <= '9') || character == '+' || character == '/';
}

bool isIceWord(const QByteArray& word, qsizetype minSize)
{
    constexpr qsizetype maxSize = 256;
    return word.size() >= minSize && word.size() <= maxSize &&
           std::all_of(word.begin(), word.end(), isIceCharacter);
}

bool isSha256(const QByteArray& pairs)
{
    constexpr qsizetype size = 32;
    const QByteArray digest = QByteArray::fromHex(pairs);
    return digest.size() == size && digest.toHex(':').toUpper() == pairs;
}

} // namespace

bool SdpAnswer::isValid() const
{
    constexpr qsizetype minUfrag = 4;
    constexpr qsizetype minPwd = 22;
    return isIceWord(iceUfrag, minUfrag) && isIceWord(icePwd, minPwd) && isSha256(fingerprint) &&
           (setup == "active" || setup == "passive") &&
           (sends() || direction == "recvonly" || direction == "inactive");
}

bool SdpAnswer::sends() const
{
    return direction == "sendrecv" || direction == "sendonly";
}

QByteArray sdpText(const SdpAnswer& answer, QByteArrayView mid)
{
    const QByteArray name = mid.toByteArray();
    const QList<QByteArray> lines = {
        "v=0",
        "o=- 1 1 IN IP4 0.0.0.0",
        "s=-",
        "t=0 0",
        "a=group:BUNDLE " + name,
        "m=audio 9 UDP/TLS/RTP/SAVPF 111",
        "c=IN IP4 0.0.0.0",
        "a=mid:" + name,
        "a=ice-ufrag:" + answer.iceUfrag,
        "a=ice-pwd:" + answer.icePwd,
        "a=fingerprint:sha-256 " + answer.fingerprint,
        "a=setup:" + answer.setup,
        "a=" + answer.direction,
        "a=rtcp-mux",
        "a=rtpmap:111 opus/48000/2",
        "a=fmtp:111 minptime=10;useinbandfec=1",
        "", // the last line ends like the others
    };
    return lines.join("\r\n");
}

bool isCertificateOf(const SdpAnswer& answer, const QByteArray& pem)
{
    const QSslCertificate certificate(pem);
    const QByteArray digest = certificate.digest(QCryptographicHash::Sha256);
    return !certificate.isNull() && digest.toHex(':').toUpper() == answer.fingerprint;
}

} // namespace wingbell
