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

tl::unexpected<FileError> notOpened(int error)
{
    if (error == ELOOP) {
        return failure(FileError{FileError::Kind::Other, QStringLiteral("it is a symbolic link")});
    }
    const auto kind = error == ENOENT ? FileError::Kind::Missing : FileError::Kind::Other;
    return failure(FileError{kind, qt_error_string(error)});
}

tl::unexpected<FileError> refused(const QString& reason)
{
    return failure(FileError{FileError::Kind::Other, reason});
}

/// Gives the open file the permissions `wanted`, or says why not.
std::optional<QString> closeToOthers(const FileDescriptor& file, mode_t mode, mode_t wanted)
{
    if ((mode & permissions) == wanted || ::fchmod(file.get(), wanted) == 0) {
        return std::nullopt;
    }
    return QStringLiteral("it cannot be closed to others: ") + qt_error_string(errno);
}

Result<FileDescriptor, FileError> openFolder(const QString& path)
{
    FileDescriptor folder(::open(
        QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder.isOpen()) {
        // With O_DIRECTORY, a link is told as what it is not.
        const int error = errno;
        return error == ENOTDIR && QFileInfo(path).isSymLink() ? notOpened(ELOOP)
                                                               : notOpened(error);
    }
    struct stat status = {};
    if (::fstat(folder.get(), &status) != 0) {
        return notOpened(errno);
    }
    if (status.st_uid != ::geteuid()) {
        return refused(QStringLiteral("it belongs to another user"));
    }
    if (const auto problem = closeToOthers(folder, status.st_mode, onlyOwnFolder)) {
        return refused(*problem);
    }
    return folder;
}

Result<FileDescriptor, FileError> openFile(const FileDescriptor& folder, const QByteArray& name)
{
    FileDescriptor file(
        ::openat(folder.get(), name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!file.isOpen()) {
        return notOpened(errno);
    }
    struct stat status = {};
    if (::fstat(file.get(), &status) != 0) {
        return notOpened(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return refused(QStringLiteral("it is not a regular file"));
    }
    if (status.st_uid != ::geteuid()) {
        return refused(QStringLiteral("it belongs to another user"));
    }
    if ((status.st_mode & writableByOthers) != 0) {
        return refused(QStringLiteral("others could have written it"));
    }
    if ((status.st_mode & readableByOthers) != 0) {
        return refused(QStringLiteral("other users could read it"));
    }
    if (const auto problem = closeToOthers(file, status.st_mode, onlyOwnFile)) {
        return refused(*problem);
    }
    return file;
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

Result<QByteArray, FileError> readAll(const FileDescriptor& file)
{
    QByteArray bytes(StateDirectory::maxFileSize + 1, Qt::Uninitialized);
    qsizetype used = 0;
    while (used < bytes.size()) {
        const ssize_t count =
            ::read(file.get(), bytes.data() + used, static_cast<size_t>(bytes.size() - used));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return refused(qt_error_string(errno));
        }
        if (count == 0) {
            bytes.resize(used);
            return bytes;
        }
        used += count;
    }
    return failure(
        FileError{FileError::Kind::TooLarge, QStringLiteral("it is larger than it can be")});
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
    const auto file = openFile(*folder, QFile::encodeName(name));
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
