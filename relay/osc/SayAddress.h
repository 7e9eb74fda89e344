#pragma once

#include <QByteArrayView>
#include <QSet>
#include <QString>

namespace wingbell {

/// Where an OSC address asks for something to be said.
struct SayAddress
{
    enum class Kind { EveryChannel, OneChannel, UnknownChannel, UnknownAddress };

    Kind kind = Kind::UnknownAddress;
    QString channel; ///< the channel; of an unknown one, the name that was asked for

    friend bool operator==(const SayAddress&, const SayAddress&) = default;
};

/// Reads the bytes of an OSC address in a show that has `channels`.
///
/// "/wingbell/say" is every channel; "/wingbell/say/" and a name is that one. The name is all that
/// follows, slashes and pattern characters among it; it is compared exactly, first as it stands and
/// then with its percent sequences decoded, so that a channel called "100%25" can be reached. A
/// broken percent sequence is no sequence: then only the name as it stands counts.
[[nodiscard]] SayAddress readSayAddress(QByteArrayView address, const QSet<QString>& channels);

} // namespace wingbell
