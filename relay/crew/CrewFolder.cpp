#include "relay/crew/CrewFolder.h"

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

/// An open folder or file; otherwise why it is not open, or that it does not exist.
struct Opened
{
    FileDescriptor descriptor;
    QString problem;
    bool isMissing = false;
};

Opened notOpened(int error)
{
    if (error == ENOENT) {
        return {{}, qt_error_string(error), true};
    }
    if (error == ELOOP) {
        return {{}, QStringLiteral("it is a symbolic link"), false};
    }
    return {{}, qt_error_string(error), false};
}

Opened refused(const QString& problem)
{
    return {{}, problem, false};
}

/// Gives the open file the permissions `wanted`, or says why not.
std::optional<QString> closeToOthers(const FileDescriptor& file, mode_t mode, mode_t wanted)
{
    if ((mode & permissions) == wanted || ::fchmod(file.get(), wanted) == 0) {
        return std::nullopt;
    }
    return QStringLiteral("it cannot be closed to others: ") + qt_error_string(errno);
}

Opened openFolder(const QString& path)
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
        return refused(QStringLiteral("it belongs to somebody else"));
    }
    if (const auto problem = closeToOthers(folder, status.st_mode, onlyOwnFolder)) {
        return refused(*problem);
    }
    return {std::move(folder), {}, false};
}

Opened openFile(const FileDescriptor& folder, const QByteArray& name)
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
        return refused(QStringLiteral("it belongs to somebody else"));
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
    return {std::move(file), {}, false};
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

CrewFolder::Reading readAll(const FileDescriptor& file)
{
    QByteArray bytes(CrewFolder::largestFile + 1, Qt::Uninitialized);
    qsizetype used = 0;
    while (used < bytes.size()) {
        const ssize_t count =
            ::read(file.get(), bytes.data() + used, static_cast<size_t>(bytes.size() - used));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return {std::nullopt, qt_error_string(errno)};
        }
        if (count == 0) {
            bytes.resize(used);
            return {std::move(bytes), {}};
        }
        used += count;
    }
    return {std::nullopt, QStringLiteral("it is larger than it can be")};
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

QString about(const QString& what, const QString& problem)
{
    return QStringLiteral("%1: %2").arg(what, problem);
}

} // namespace

CrewFolder::CrewFolder(QString path)
    : m_path(std::move(path))
{
}

QString CrewFolder::standardPath(const QProcessEnvironment& environment)
{
    const QString state = environment.value(QStringLiteral("XDG_STATE_HOME"));
    // What is not absolute there does not count, by the convention.
    const QString base =
        QDir::isAbsolutePath(state) ? state : QDir::homePath() + QStringLiteral("/.local/state");
    return QDir::cleanPath(base + QStringLiteral("/wingbell"));
}

CrewFolder::Reading CrewFolder::read(const QString& name) const
{
    const Opened folder = openFolder(m_path);
    if (!folder.descriptor.isOpen()) {
        return {std::nullopt, folder.isMissing ? QString() : about(m_path, folder.problem)};
    }
    const QString path = m_path + QLatin1Char('/') + name;
    const Opened file = openFile(folder.descriptor, QFile::encodeName(name));
    if (!file.descriptor.isOpen()) {
        return {std::nullopt, file.isMissing ? QString() : about(path, file.problem)};
    }
    Reading reading = readAll(file.descriptor);
    if (!reading.bytes) {
        reading.problem = about(path, reading.problem);
    }
    return reading;
}

std::optional<QString> CrewFolder::write(const QString& name, QByteArrayView bytes) const
{
    if (!makeFolder(m_path)) {
        return about(m_path, qt_error_string(errno));
    }
    const Opened folder = openFolder(m_path);
    if (!folder.descriptor.isOpen()) {
        return about(m_path, folder.problem);
    }
    // Two servers that write at once have a file each, and the later one counts.
    constexpr int hexadecimal = 16;
    const QByteArray file = QFile::encodeName(name);
    const QByteArray draft =
        '.' + file + '.' +
        QByteArray::number(QRandomGenerator::system()->generate64(), hexadecimal);
    const int at = folder.descriptor.get();
    if (!writeNewFile(folder.descriptor, draft, bytes) || ::renameat(at, draft, at, file) != 0) {
        const int error = errno;
        (void)::unlinkat(at, draft, 0);
        return about(m_path + QLatin1Char('/') + name, qt_error_string(error));
    }
    (void)::fsync(at); // the file is there already; only its surviving a power cut is at stake
    return std::nullopt;
}

} // namespace wingbell
