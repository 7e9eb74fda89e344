#include "relay/api/SdpAnswer.h"

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
           (sends() || direction == "recvonly" || direction == "inactive") &&
           sources.size() <= maxSources && (!sends() || !sources.empty());
}

bool SdpAnswer::sends() const
{
    return direction == "sendrecv" || direction == "sendonly";
}

} // namespace wingbell
