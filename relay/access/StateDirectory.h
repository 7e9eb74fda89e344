#pragma once

#include "base/RegularFile.h"
#include "base/Result.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QProcessEnvironment>
#include <QString>

namespace wingbell {

/// The folder that keeps the crew's code and certificate from one start to the next. It and its
/// files are for this user alone: nothing is taken from a folder that another user owns, from a
/// file that another user owns or could have read or written, nor through a symbolic link.
///
/// Every call opens the folder again. Reasons of errors name the path.
class StateDirectory
{
public:
    /// In bytes; nothing that is kept here comes near.
    static constexpr qsizetype maxFileSize = 65536;

    /// `path` need not exist.
    explicit StateDirectory(QString path);

    /// "wingbell" in $XDG_STATE_HOME, or in .local/state of the user's home.
    [[nodiscard]] static QString standardPath(const QProcessEnvironment& environment);

    [[nodiscard]] Result<QByteArray, FileError> read(const QString& name) const;

    /// Replaces the file as a whole or not at all, making the folder where it is missing.
    [[nodiscard]] Result<void, FileError> write(const QString& name, QByteArrayView bytes) const;

    [[nodiscard]] const QString& path() const { return m_path; }

private:
    QString m_path;
};

} // namespace wingbell
