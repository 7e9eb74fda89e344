#pragma once

#include "base/FileDescriptor.h"
#include "base/RegularFile.h"
#include "base/Result.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QProcessEnvironment>
#include <QString>

namespace wingbell {

/// The folder that keeps the crew's code and certificate from one start to the next. Every call
/// opens the folder again. Nothing is taken through a symbolic link. Reasons of errors name the
/// path.
class StateDirectory
{
public:
    enum class Sharing {
        /// For one user: the folder has the mode 0700 and its files 0600. A file that another user
        /// owns or could have read or written is refused.
        OneUser,
        /// For all users in the folder's group: only root owns the folder, only that group may
        /// write in it, and files belong to that group with the mode 0660. A file that users
        /// outside the group could have read or written is refused.
        Group
    };

    struct Choice;

    /// In bytes; nothing that is kept here comes near.
    static constexpr qsizetype maxFileSize = 65536;

    /// `path` need not exist.
    explicit StateDirectory(QString path, Sharing sharing = Sharing::OneUser);

    /// The folder that the administrator has made for all users of the desk, /var/lib/wingbell, if
    /// this user may use it; otherwise the one at standardPath(). Tests name another one in
    /// $WINGBELL_SHARED_STATE.
    [[nodiscard]] static Choice choose(const QProcessEnvironment& environment);

    /// "wingbell" in $XDG_STATE_HOME, or in .local/state of the user's home.
    [[nodiscard]] static QString standardPath(const QProcessEnvironment& environment);

    /// An exclusive lock (flock) on the folder, which is made where it is missing; held until the
    /// descriptor is closed. While one server holds it to read or make the secrets, others wait, so
    /// that all get the same ones. Not open if there was none to be had before a timeout: going on
    /// without is better than not going on air.
    [[nodiscard]] FileDescriptor lock() const;

    [[nodiscard]] Result<QByteArray, FileError> read(const QString& name) const;

    /// Replaces the file as a whole or not at all, making a user's own folder where it is missing.
    [[nodiscard]] Result<void, FileError> write(const QString& name, QByteArrayView bytes) const;

    /// The folder, opened for reading; a user's own is made where it is missing, and closed to
    /// others.
    [[nodiscard]] Result<FileDescriptor, FileError> openOrMake() const;

    [[nodiscard]] const QString& path() const { return m_path; }

private:
    QString m_path;
    Sharing m_sharing;
};

struct StateDirectory::Choice
{
    StateDirectory directory;
    QString sharedPath;          ///< of the folder for all users, used or not
    QString sharedUnusedBecause; ///< a clause for a person; empty if it is used or missing
};

} // namespace wingbell
