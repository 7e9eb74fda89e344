#include "model/PlainFile.h"

#include "model/FileDescriptor.h"

#include <QFile>
#include <QtGlobal>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace wingbell {

namespace {

bool isRegularFile(const FileDescriptor& file)
{
    struct stat status = {};
    return ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
}

QString systemReason(int error)
{
    return qt_error_string(error);
}

/// Opens without waiting for the other end of a pipe.
FileDescriptor openWithoutWaiting(const QString& path, int flags)
{
    constexpr mode_t everyoneWithinTheMask = 0666;
    return FileDescriptor(::open(
        QFile::encodeName(path).constData(), flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY,
        everyoneWithinTheMask));
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

FileReading readPlainFile(const QString& path)
{
    const FileDescriptor file = openWithoutWaiting(path, O_RDONLY);
    if (!file.isOpen()) {
        return {std::nullopt, systemReason(errno)};
    }
    if (!isRegularFile(file)) {
        return {std::nullopt, QStringLiteral("it is not a regular file")};
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
            return {std::nullopt, systemReason(errno)};
        }
        used += count;
        if (used > largestPlainFile) {
            return {std::nullopt, QStringLiteral("it is larger than a show can be")};
        }
        if (count == 0) {
            bytes.resize(used);
            return {std::move(bytes), {}};
        }
    }
}

bool writePlainFile(const QString& path, const QByteArray& bytes)
{
    // The old content goes only once there is room for the new one: a full disk must not cost a
    // show.
    FileDescriptor file = openWithoutWaiting(path, O_WRONLY | O_CREAT);
    if (!file.isOpen() || !isRegularFile(file) || !makeRoom(file, bytes.size())) {
        return false;
    }
    return writeAll(file, bytes) && cutAt(file, bytes.size()) && file.close();
}

} // namespace wingbell
