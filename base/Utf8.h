#pragma once

#include <QByteArrayView>
#include <QString>
#include <QUtf8StringView>

#include <optional>

namespace wingbell {

/// The text of bytes known to be valid UTF-8. Unlike QString::fromUtf8 it keeps a leading U+FEFF,
/// which is a character like any other inside a file or a stream.
[[nodiscard]] inline QString textFromUtf8(QByteArrayView utf8)
{
    constexpr QByteArrayView byteOrderMark("\xEF\xBB\xBF");
    if (!utf8.startsWith(byteOrderMark)) {
        return QString::fromUtf8(utf8);
    }
    return QChar(QChar::ByteOrderMark) + textFromUtf8(utf8.sliced(byteOrderMark.size()));
}

/// The text of `bytes`, or nothing when they are not valid UTF-8 from the first to the last.
[[nodiscard]] inline std::optional<QString> textIfUtf8(QByteArrayView bytes)
{
    return bytes.isValidUtf8() ? std::optional(textFromUtf8(bytes)) : std::nullopt;
}

} // namespace wingbell
