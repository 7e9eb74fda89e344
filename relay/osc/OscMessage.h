#pragma once

#include <QByteArray>

namespace wingbell {

/// One OSC message, as far as an announcement needs it. Its bytes come from the network: neither
/// `address` nor `text` need be valid UTF-8.
struct OscMessage
{
    QByteArray address;  ///< begins with a slash
    QByteArray typeTags; ///< one character for each argument, without the leading comma
    QByteArray text;     ///< the first argument where that is a string; otherwise empty

    friend bool operator==(const OscMessage&, const OscMessage&) = default;
};

} // namespace wingbell
