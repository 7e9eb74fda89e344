#pragma once

#include <QByteArrayView>
#include <QStringList>

#include <optional>

namespace wingbell {

/// The lines of one chunk of a server's output: split at line feeds, empty pieces dropped, nothing
/// trimmed. A carriage return and line feed pair is one character to a reader and splits nothing.
/// Each chunk stands alone: nothing is carried over to the next.
///
/// Nothing when the chunk is not UTF-8 from end to end, also when it cuts a character in half.
[[nodiscard]] std::optional<QStringList> linesOfChunk(QByteArrayView chunk);

} // namespace wingbell
