#include "base/RegularFile.h"

#include "base/FileDescriptor.h"

#include <QByteArrayList>
#include <QFile>
#include <QtGlobal>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace wingbell {

namespace {

FileError systemError(int error)
{
    return {
        error == ENOENT ? FileError::Kind::Missing : FileError::Kind::Other,
        qt_error_string(error)};
}

/// Opens without waiting for the other end of a pipe. A relative `path` begins at `folder`.
FileDescriptor openWithoutWaiting(int folder, const QByteArray& path, int flags)
{
    constexpr mode_t everyoneWithinTheMask = 0666;
    return FileDescriptor(::openat(
        folder, path.constData(), flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY,
        everyoneWithinTheMask));
}

struct stat statusOf(const FileDescriptor& file)
{
    struct stat status = {};
    (void)::fstat(file.get(), &status);
    return status;
}

bool isRegularFile(const FileDescriptor& file)
{
    return S_ISREG(statusOf(file).st_mode);
}

/// Whether it belongs to the user or to the system.
bool isTrusted(const struct stat& status)
{
    return status.st_uid == ::geteuid() || status.st_uid == 0;
}

/// Where a link leads, from its own descriptor; empty if it cannot be read.
QByteArray targetOf(const FileDescriptor& link)
{
    QByteArray target(PATH_MAX, '\0');
    target.truncate(std::max<ssize_t>(
        ::readlinkat(link.get(), "", target.data(), static_cast<size_t>(target.size())), 0));
    return target;
}

/// Whether the open `file` has no name but `name`. Where others may write, a further name (a hard
/// link) leads to a file of their choice just as a symbolic link does.
bool isOnlyName(const FileDescriptor& folder, const QByteArray& name, const FileDescriptor& file)
{
    const struct stat opened = statusOf(file);
    struct stat named = {};
    return ::fstatat(folder.get(), name.constData(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           named.st_dev == opened.st_dev && named.st_ino == opened.st_ino && named.st_nlink == 1;
}

/// Opens the last step of a path, which is no link, or makes the file.
FileDescriptor openLast(const FileDescriptor& folder, const QByteArray& name)
{
    // Made apart, or the system would refuse another user's file in a folder like /tmp.
    FileDescriptor file = openWithoutWaiting(folder.get(), name, O_WRONLY | O_NOFOLLOW);
    if (!file.isOpen() && errno == ENOENT) {
        file = openWithoutWaiting(folder.get(), name, O_WRONLY | O_CREAT | O_EXCL);
    }
    const struct stat around = statusOf(folder);
    const bool othersMayWrite = !isTrusted(around) || (around.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    if (!file.isOpen() || (othersMayWrite && !isOnlyName(folder, name, file))) {
        return {};
    }
    return file;
}

/// Opens the file at the absolute `path` to be written, made where there is none. Step by step,
/// each from the folder opened before it: a link is followed only if it and the folder that holds
/// it are the user's or the system's, so that no other user can lead the writing to a file of their
/// choice.
FileDescriptor openForWriting(const QString& path)
{
    constexpr int maxLinks = 40; // as the system counts
    const auto root = [] {
        return openWithoutWaiting(AT_FDCWD, "/", O_PATH | O_DIRECTORY);
    };
    FileDescriptor folder = root();
    QByteArrayList steps = QFile::encodeName(path).split('/');
    int links = 0;
    while (!steps.isEmpty()) {
        const QByteArray step = steps.takeFirst();
        if (step.isEmpty()) {
            continue;
        }
        FileDescriptor entry = openWithoutWaiting(folder.get(), step, O_PATH | O_NOFOLLOW);
        const struct stat status = statusOf(entry);
        if (entry.isOpen() && S_ISLNK(status.st_mode)) {
            const QByteArray target = targetOf(entry);
            if (++links > maxLinks || target.isEmpty() || !isTrusted(status) ||
                !isTrusted(statusOf(folder))) {
                return {};
            }
            steps = target.split('/') + steps;
            if (target.startsWith('/')) {
                folder = root();
            }
        } else if (steps.isEmpty()) {
            return openLast(folder, step);
        } else {
            folder = std::move(entry);
        }
    }
    return {};
}

/// Calls until no signal comes between.
template <typename Call> auto whole(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

bool cutAt(const FileDescriptor& file, off_t size)
{
    return whole([&] { return ::ftruncate(file.get(), size); }) == 0;
}

/// Sets room aside for `size` bytes or leaves the file as it was. File systems that cannot set room
/// aside are taken to have it.
bool makeRoom(const FileDescriptor& file, off_t size)
{
    struct stat before = {};
    if (size == 0 || ::fstat(file.get(), &before) != 0) {
        return size == 0;
    }
    if (whole([&] { return ::fallocate(file.get(), 0, 0, size); }) == 0) {
        return true;
    }
    if (errno == EOPNOTSUPP || errno == ENOSYS) {
        return true;
    }
    (void)cutAt(file, before.st_size);
    return false;
}

bool writeAll(const FileDescriptor& file, const QByteArray& bytes)
{
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t count = whole([&] {
            return ::write(
                file.get(), bytes.constData() + written,
                static_cast<size_t>(bytes.size() - written));
        });
        if (count <= 0) {
            return false;
        }
        written += count;
    }
    return true;
}

} // namespace

Result<QByteArray, FileError> readRegularFile(const QString& path, qsizetype maxSize)
{
    const FileDescriptor file = openWithoutWaiting(AT_FDCWD, QFile::encodeName(path), O_RDONLY);
    if (!file.isOpen()) {
        return failure(systemError(errno));
    }
    if (!isRegularFile(file)) {
        return failure(
            FileError{FileError::Kind::Other, QStringLiteral("it is not a regular file")});
    }
    constexpr qsizetype step = 256LL * 1024;
    QByteArray bytes;
    qsizetype used = 0;
    for (;;) {
        bytes.resize(used + std::max(step, used)); // doubling, so that growth stays linear
        const ssize_t count = whole([&] {
            return ::read(
                file.get(), bytes.data() + used, static_cast<size_t>(bytes.size() - used));
        });
        if (count < 0) {
            return failure(systemError(errno));
        }
        used += count;
        if (used > maxSize) {
            return failure(FileError{FileError::Kind::TooLarge, {}});
        }
        if (count == 0) {
            bytes.resize(used);
            return bytes;
        }
    }
}

bool writeRegularFile(const QString& path, const QByteArray& bytes)
{
    // The old content goes only once there is room for the new one: a full disk must not cost a
    // show.
    FileDescriptor file = openForWriting(path);
    if (!file.isOpen() || !isRegularFile(file) || !makeRoom(file, bytes.size())) {
        return false;
    }
    return writeAll(file, bytes) && cutAt(file, bytes.size()) && file.close();
}

} // namespace wingbell
