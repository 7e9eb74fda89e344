#pragma once

#include <QByteArrayView>
#include <QString>

#include <optional>

namespace wingbell {

/// The text of bytes known to be valid UTF-8. Unlike QString::fromUtf8 it keeps a leading U+FEFF,
/// which is a character like any other inside a file or a stream.
[[nodiscard]] QString textFromUtf8(QByteArrayView utf8);

/// The text of `bytes`, or nothing when they are not valid UTF-8 from the first to the last.
[[nodiscard]] std::optional<QString> textIfUtf8(QByteArrayView bytes);

} // namespace wingbell
