#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace wingbell {

/// What came of reading a file: its bytes, or, where they are missing, the reason for a person.
struct FileReading
{
    std::optional<QByteArray> bytes;
    QString problem;
    bool isMissing = false; ///< because nothing is there
};

/// The largest file that is read, in bytes. A show takes a few kilobytes.
inline constexpr qsizetype largestPlainFile = 64LL * 1024 * 1024;

/// The whole of the regular file at `path`. Anything else that stands there (a folder, a pipe, a
/// device) is a problem at once, never a wait; so is a file above `largestPlainFile`.
[[nodiscard]] FileReading readRegularFile(const QString& path);

/// Replaces the content of the file at the absolute `path` by `bytes`, in place: permissions and
/// owner of an existing file stay. A link on the way is followed only if it and the folder that
/// holds it belong to the user or to root; where others may write, a file with a further name
/// counts as a link of theirs. False when not everything was written. Where there is no room for
/// all of it the old content stays whole; after any other failure the file may hold a part of the
/// new one. Never waits on a pipe or device that stands there.
[[nodiscard]] bool writeRegularFile(const QString& path, const QByteArray& bytes);

} // namespace wingbell
