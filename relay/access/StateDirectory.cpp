#include "relay/access/StateDirectory.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <optional>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace wingbell {

namespace {

constexpr mode_t onlyOwnFolder = 0700;
constexpr mode_t onlyOwnFile = 0600;
constexpr mode_t permissions = 0777;
constexpr mode_t groupFile = 0660;
constexpr mode_t writable = 0222;
constexpr mode_t readable = 0444;

constexpr char notInGroup[] = "this user may not read and write it";

/// Longer than it takes to make a key and two certificates.
constexpr std::chrono::seconds lockTimeout(3);
constexpr std::chrono::milliseconds lockInterval(10);

using Sharing = StateDirectory::Sharing;

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

/// Opens `name`, which begins at `folder`, but no symbolic link and without waiting for a pipe; or
/// gives the system's error number.
Result<FileDescriptor, int>
openNoFollow(int folder, const QByteArray& name, int flags, struct stat& status)
{
    FileDescriptor file(
        ::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | flags));
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0) {
        return failure(errno);
    }
    return file;
}

/// Why the folder of all users is not used; empty if it may be.
QString reasonAgainstShared(const FileDescriptor& folder, const struct stat& status)
{
    if (status.st_uid != 0) {
        return QStringLiteral("it does not belong to root");
    }
    if ((status.st_mode & S_IWOTH) != 0) {
        return QStringLiteral("users outside its group may write in it");
    }
    if (::faccessat(folder.get(), ".", R_OK | W_OK | X_OK, AT_EACCESS) != 0) {
        return QString::fromLatin1(notInGroup);
    }
    return {};
}

Result<FileDescriptor, FileError> openFolder(const QString& path, Sharing sharing)
{
    struct stat status = {};
    auto folder = openNoFollow(AT_FDCWD, QFile::encodeName(path), O_DIRECTORY, status);
    if (!folder) {
        // With O_DIRECTORY, the system says of a link only that it is no folder.
        if (QFileInfo(path).isSymLink()) {
            return systemError(ELOOP);
        }
        if (sharing == Sharing::Group && folder.error() == EACCES) {
            return otherError(QString::fromLatin1(notInGroup));
        }
        return systemError(folder.error());
    }
    if (sharing == Sharing::Group) {
        const QString reason = reasonAgainstShared(*folder, status);
        if (!reason.isEmpty()) {
            return otherError(reason);
        }
        return std::move(*folder);
    }
    if (status.st_uid != ::geteuid()) {
        return otherError(QStringLiteral("it belongs to another user"));
    }
    if ((status.st_mode & permissions) != onlyOwnFolder &&
        ::fchmod(folder->get(), onlyOwnFolder) != 0) {
        return otherError(
            QStringLiteral("it cannot be closed to others: ") + qt_error_string(errno));
    }
    return std::move(*folder);
}

/// The group that may read the files of the shared `folder`; nullopt if they are for one user.
std::optional<gid_t> groupOf(const FileDescriptor& folder, Sharing sharing)
{
    struct stat status = {};
    if (sharing == Sharing::OneUser || ::fstat(folder.get(), &status) != 0) {
        return std::nullopt;
    }
    return status.st_gid;
}

/// Gives a file its permissions: for its owner alone or, if there is one, also for `group`.
bool setPermissions(const FileDescriptor& file, std::optional<gid_t> group)
{
    struct stat status = {};
    if (::fstat(file.get(), &status) != 0 ||
        (group && status.st_gid != *group &&
         ::fchown(file.get(), static_cast<uid_t>(-1), *group) != 0)) {
        return false;
    }
    const mode_t mode = group ? groupFile : onlyOwnFile;
    return (status.st_mode & permissions) == mode || ::fchmod(file.get(), mode) == 0;
}

/// Opens a file of `folder` for reading, if none but its owner and `group` could have read or
/// written it, and gives it its permissions.
Result<FileDescriptor, FileError>
openPrivateFile(const FileDescriptor& folder, const QByteArray& name, std::optional<gid_t> group)
{
    struct stat status = {};
    auto file = openNoFollow(folder.get(), name, 0, status);
    if (!file) {
        return systemError(file.error());
    }
    if (!S_ISREG(status.st_mode)) {
        return otherError(QStringLiteral("it is not a regular file"));
    }
    // Only members of the group can put a file into its folder, so any owner will do there.
    const bool isOfGroup = group == status.st_gid;
    if (!isOfGroup && status.st_uid != ::geteuid()) {
        return otherError(QStringLiteral("it belongs to another user"));
    }
    const mode_t others = isOfGroup ? S_IRWXO : S_IRWXO | S_IRWXG;
    if ((status.st_mode & writable & others) != 0) {
        return otherError(QStringLiteral("others could have written it"));
    }
    if ((status.st_mode & readable & others) != 0) {
        return otherError(QStringLiteral("other users could read it"));
    }
    // Only its owner can change a file, so one of another member stays as it is.
    if (!setPermissions(*file, group) && !isOfGroup) {
        return otherError(
            QStringLiteral("it cannot be closed to others: ") + qt_error_string(errno));
    }
    return std::move(*file);
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
bool writeNewFile(
    const FileDescriptor& folder, const QByteArray& name, QByteArrayView bytes,
    std::optional<gid_t> group)
{
    FileDescriptor file(::openat(
        folder.get(), name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, onlyOwnFile));
    return file.isOpen() && setPermissions(file, group) && writeAll(file, bytes) &&
           ::fsync(file.get()) == 0 && file.close();
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

StateDirectory::StateDirectory(QString path, Sharing sharing)
    : m_path(std::move(path))
    , m_sharing(sharing)
{
}

StateDirectory::Choice StateDirectory::choose(const QProcessEnvironment& environment)
{
    const QString shared = QDir::cleanPath(environment.value(
        QStringLiteral("WINGBELL_SHARED_STATE"), QStringLiteral("/var/lib/wingbell")));
    const auto opened = openFolder(shared, Sharing::Group);
    if (opened) {
        return {StateDirectory(shared, Sharing::Group), shared, {}};
    }
    const bool isMissing = opened.error().kind == FileError::Kind::Missing;
    return {
        StateDirectory(standardPath(environment)), shared,
        isMissing ? QString() : opened.error().reason};
}

QString StateDirectory::standardPath(const QProcessEnvironment& environment)
{
    const QString state = environment.value(QStringLiteral("XDG_STATE_HOME"));
    // What is not absolute there does not count, by the convention.
    const QString base =
        QDir::isAbsolutePath(state) ? state : QDir::homePath() + QStringLiteral("/.local/state");
    return QDir::cleanPath(base + QStringLiteral("/wingbell"));
}

Result<FileDescriptor, FileError> StateDirectory::openOrMake() const
{
    if (m_sharing == Sharing::OneUser && !makeFolder(m_path)) {
        return about(m_path, errno);
    }
    auto folder = openFolder(m_path, m_sharing);
    if (!folder) {
        return about(m_path, folder.error());
    }
    return folder;
}

FileDescriptor StateDirectory::lock() const
{
    auto folder = openOrMake();
    if (!folder) {
        return {};
    }
    const auto deadline = std::chrono::steady_clock::now() + lockTimeout;
    while (::flock(folder->get(), LOCK_EX | LOCK_NB) != 0) {
        if ((errno != EWOULDBLOCK && errno != EINTR) ||
            std::chrono::steady_clock::now() >= deadline) {
            return {};
        }
        std::this_thread::sleep_for(lockInterval);
    }
    return std::move(*folder);
}

Result<QByteArray, FileError> StateDirectory::read(const QString& name) const
{
    const auto folder = openFolder(m_path, m_sharing);
    if (!folder) {
        return about(m_path, folder.error());
    }
    const QString path = m_path + QLatin1Char('/') + name;
    const auto file =
        openPrivateFile(*folder, QFile::encodeName(name), groupOf(*folder, m_sharing));
    if (!file) {
        return about(path, file.error());
    }
    auto bytes = readAll(*file);
    return bytes ? std::move(bytes) : about(path, bytes.error());
}

Result<void, FileError> StateDirectory::write(const QString& name, QByteArrayView bytes) const
{
    const auto folder = openOrMake();
    if (!folder) {
        return failure(folder.error());
    }
    // Two servers that write at once have a file each, and the later one counts.
    constexpr int hexadecimal = 16;
    const QByteArray file = QFile::encodeName(name);
    const QByteArray draft =
        '.' + file + '.' +
        QByteArray::number(QRandomGenerator::system()->generate64(), hexadecimal);
    const int at = folder->get();
    if (!writeNewFile(*folder, draft, bytes, groupOf(*folder, m_sharing)) ||
        ::renameat(at, draft, at, file) != 0) {
        const int error = errno;
        (void)::unlinkat(at, draft, 0);
        return about(m_path + QLatin1Char('/') + name, error);
    }
    (void)::fsync(at); // the file is there already; only its surviving a power cut is at stake
    return {};
}

} // namespace wingbell
