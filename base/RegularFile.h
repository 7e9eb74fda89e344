#pragma once

#include "base/Result.h"

#include <QByteArray>
#include <QString>

namespace wingbell {

/// Why a file cannot be read.
struct FileError
{
    enum class Kind { Missing, TooLarge, Other };

    Kind kind = Kind::Other;
    QString reason; ///< for a person: lower case, no full stop; empty for TooLarge
};

/// The whole of the regular file at `path`. Anything else that stands there (a folder, a pipe, a
/// device) is an error at once, never a wait; so is a file of more than `maxSize` bytes.
[[nodiscard]] Result<QByteArray, FileError> readRegularFile(const QString& path, qsizetype maxSize);

/// Replaces the content of the file at the absolute `path` by `bytes`, in place: permissions and
/// owner of an existing file stay. A link on the way is followed only if it and the folder that
/// holds it belong to the user or to root; where others may write, a file with a further name
/// counts as a link of theirs. False when not everything was written. Where there is no room for
/// all of it the old content stays whole; after any other failure the file may hold a part of the
/// new one. Never waits on a pipe or device that stands there.
[[nodiscard]] bool writeRegularFile(const QString& path, const QByteArray& bytes);

} // namespace wingbell
