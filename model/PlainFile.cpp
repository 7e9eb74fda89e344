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
        const ssize_t count =
            ::read(file.get(), bytes.data() + used, static_cast<size_t>(bytes.size() - used));
        if (count < 0 && errno == EINTR) {
            continue;
        }
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
    FileDescriptor file = openWithoutWaiting(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (!file.isOpen() || !isRegularFile(file)) {
        return false;
    }
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(
            file.get(), bytes.constData() + written, static_cast<size_t>(bytes.size() - written));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        written += count;
    }
    return file.close();
}

} // namespace wingbell
