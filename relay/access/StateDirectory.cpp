#include "relay/access/StateDirectory.h"

#include "base/FileDescriptor.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace wingbell {

namespace {

constexpr mode_t onlyOwnFolder = 0700;
constexpr mode_t onlyOwnFile = 0600;
constexpr mode_t permissions = 0777;
constexpr mode_t writableByOthers = 0022;
constexpr mode_t readableByOthers = 0044;

tl::unexpected<FileError> otherError(const QString& reason)
{
    return failure(FileError{FileError::Kind::Other, reason});
}

tl::unexpected<FileError> systemError(int error)
{
    if (error == ELOOP) {
        return otherError(QStringLiteral("it is a symbolic link"));
    }
    const auto kind = error == ENOENT ? FileError::Kind::Missing : FileError::Kind::Other;
    return failure(FileError{kind, qt_error_string(error)});
}

/// Why what is open is not used; empty when it may be.
QString reasonAgainst(const struct stat& status, bool isFolder)
{
    if (!isFolder && !S_ISREG(status.st_mode)) {
        return QStringLiteral("it is not a regular file");
    }
    if (status.st_uid != ::geteuid()) {
        return QStringLiteral("it belongs to another user");
    }
    if (!isFolder && (status.st_mode & writableByOthers) != 0) {
        return QStringLiteral("others could have written it");
    }
    if (!isFolder && (status.st_mode & readableByOthers) != 0) {
        return QStringLiteral("other users could read it");
    }
    return {};
}

/// Opens `name`, which begins at `folder`, if it is the user's own, and gives it the permissions
/// `mode`.
Result<FileDescriptor, FileError>
openPrivate(int folder, const QByteArray& name, int flags, mode_t mode)
{
    FileDescriptor file(
        ::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | flags));
    struct stat status = {};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0) {
        return systemError(errno);
    }
    const QString reason = reasonAgainst(status, (flags & O_DIRECTORY) != 0);
    if (!reason.isEmpty()) {
        return otherError(reason);
    }
    if ((status.st_mode & permissions) != mode && ::fchmod(file.get(), mode) != 0) {
        return otherError(
            QStringLiteral("it cannot be closed to others: ") + qt_error_string(errno));
    }
    return file;
}

Result<FileDescriptor, FileError> openFolder(const QString& path)
{
    auto folder = openPrivate(AT_FDCWD, QFile::encodeName(path), O_DIRECTORY, onlyOwnFolder);
    // With O_DIRECTORY, the system says of a link only that it is no folder.
    if (!folder && QFileInfo(path).isSymLink()) {
        return systemError(ELOOP);
    }
    return folder;
}

/// Makes the folder and those it stands in, for their owner alone. True when it exists then.
bool makeFolder(const QString& path)
{
    if (::mkdir(QFile::encodeName(path).constData(), onlyOwnFolder) == 0 || errno == EEXIST) {
        return true;
    }
    const QString parent = QFileInfo(path).path();
    return errno == ENOENT && parent.size() < path.size() && makeFolder(parent) &&
           (::mkdir(QFile::encodeName(path).constData(), onlyOwnFolder) == 0 || errno == EEXIST);
}

Result<QByteArray, FileError> readAll(const FileDescriptor& descriptor)
{
    QFile file;
    const bool isOpen = file.open(descriptor.get(), QIODevice::ReadOnly | QIODevice::Unbuffered);
    QByteArray bytes = file.read(StateDirectory::maxFileSize + 1);
    if (!isOpen || file.error() != QFile::NoError) {
        return otherError(file.errorString());
    }
    if (bytes.size() > StateDirectory::maxFileSize) {
        return failure(
            FileError{FileError::Kind::TooLarge, QStringLiteral("it is larger than it can be")});
    }
    return bytes;
}

bool writeAll(const FileDescriptor& file, QByteArrayView bytes)
{
    while (!bytes.isEmpty()) {
        const ssize_t count = ::write(file.get(), bytes.data(), static_cast<size_t>(bytes.size()));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        bytes = bytes.sliced(count);
    }
    return true;
}

/// Writes a new file that is on the disk when this returns true.
bool writeNewFile(const FileDescriptor& folder, const QByteArray& name, QByteArrayView bytes)
{
    FileDescriptor file(::openat(
        folder.get(), name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, onlyOwnFile));
    return file.isOpen() && writeAll(file, bytes) && ::fsync(file.get()) == 0 && file.close();
}

tl::unexpected<FileError> about(const QString& path, const FileError& error)
{
    return failure(FileError{error.kind, QStringLiteral("%1: %2").arg(path, error.reason)});
}

tl::unexpected<FileError> about(const QString& path, int error)
{
    return about(path, FileError{FileError::Kind::Other, qt_error_string(error)});
}

} // namespace

StateDirectory::StateDirectory(QString path)
    : m_path(std::move(path))
{
}

QString StateDirectory::standardPath(const QProcessEnvironment& environment)
{
    const QString state = environment.value(QStringLiteral("XDG_STATE_HOME"));
    // What is not absolute there does not count, by the convention.
    const QString base =
        QDir::isAbsolutePath(state) ? state : QDir::homePath() + QStringLiteral("/.local/state");
    return QDir::cleanPath(base + QStringLiteral("/wingbell"));
}

Result<QByteArray, FileError> StateDirectory::read(const QString& name) const
{
    const auto folder = openFolder(m_path);
    if (!folder) {
        return about(m_path, folder.error());
    }
    const QString path = m_path + QLatin1Char('/') + name;
    const auto file = openPrivate(folder->get(), QFile::encodeName(name), 0, onlyOwnFile);
    if (!file) {
        return about(path, file.error());
    }
    auto bytes = readAll(*file);
    return bytes ? std::move(bytes) : about(path, bytes.error());
}

Result<void, FileError> StateDirectory::write(const QString& name, QByteArrayView bytes) const
{
    if (!makeFolder(m_path)) {
        return about(m_path, errno);
    }
    const auto folder = openFolder(m_path);
    if (!folder) {
        return about(m_path, folder.error());
    }
    // Two servers that write at once have a file each, and the later one counts.
    constexpr int hexadecimal = 16;
    const QByteArray file = QFile::encodeName(name);
    const QByteArray draft =
        '.' + file + '.' +
        QByteArray::number(QRandomGenerator::system()->generate64(), hexadecimal);
    const int at = folder->get();
    if (!writeNewFile(*folder, draft, bytes) || ::renameat(at, draft, at, file) != 0) {
        const int error = errno;
        (void)::unlinkat(at, draft, 0);
        return about(m_path + QLatin1Char('/') + name, error);
    }
    (void)::fsync(at); // the file is there already; only its surviving a power cut is at stake
    return {};
}

} // namespace wingbell
