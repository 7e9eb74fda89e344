#pragma once

#include "relay/api/MediaAnswer.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <variant>

namespace wingbell {

/// In bytes.
inline constexpr qsizetype longestSdp = 32768;

/// What is of use in an SDP answer, or why it is refused: a clause for a person. Takes any bytes
/// whatever. The answer must have one audio section and no other, take Opus under the payload type
/// offered (111) and use one port for everything; candidates are not looked at.
[[nodiscard]] std::variant<MediaAnswer, QString> readMediaAnswer(QByteArrayView sdp);

/// An answer of our own that says just what `answer` holds. What a browser wrote never reaches the
/// media library, only this does. `mid` is the name of the section in the offer.
[[nodiscard]] QByteArray canonicalAnswer(const MediaAnswer& answer, QByteArrayView mid);

/// True when `pem` is the certificate whose fingerprint `answer` told: the peer that has the key is
/// the one that answered.
[[nodiscard]] bool isCertificateOf(const MediaAnswer& answer, const QByteArray& pem);

} // namespace wingbell
