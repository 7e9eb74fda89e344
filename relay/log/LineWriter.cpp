#include "relay/log/LineWriter.h"

#include "base/LineText.h"
#include "relay/log/Messages.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

namespace wingbell {

namespace {

/// The same pipe or terminal opened once more, so that O_NONBLOCK does not affect the others who
/// share `descriptor`. None if that fails; then it must do to poll for writability and to write no
/// more than a pipe takes at once.
FileDescriptor openedWithoutWaiting(int descriptor)
{
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0 ||
        (!S_ISFIFO(status.st_mode) && !S_ISCHR(status.st_mode))) {
        return {};
    }
    const QByteArray path = "/proc/self/fd/" + QByteArray::number(descriptor);
    return FileDescriptor(::open(path.constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
}

} // namespace

LineWriter::LineWriter(int descriptor)
    : m_own(openedWithoutWaiting(descriptor))
    , m_descriptor(m_own.isOpen() ? m_own.get() : descriptor)
{
}

void LineWriter::write(const QString& line)
{
    if (m_lines.size() >= maxWaitingLines) {
        ++m_dropped;
        return;
    }
    appendNumberDropped();
    append(line);
    resume();
}

int LineWriter::awaitedDescriptor() const
{
    return m_lines.empty() ? -1 : m_descriptor;
}

void LineWriter::resume()
{
    using namespace std::chrono_literals;
    while (!m_lines.empty() && isWritable(0ms)) {
        const QByteArray& line = m_lines.front();
        const ssize_t count = ::write(
            m_descriptor, line.constData() + m_writtenOfFirst,
            static_cast<std::size_t>(line.size() - m_writtenOfFirst));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0 && errno == EAGAIN) {
            return;
        }
        if (count < 0) {
            forgetFirst();
            continue;
        }
        m_writtenOfFirst += count;
        if (m_writtenOfFirst == line.size()) {
            forgetFirst();
        }
    }
}

void LineWriter::finish(std::chrono::milliseconds timeout)
{
    using namespace std::chrono;
    const auto end = steady_clock::now() + timeout;
    while (!m_lines.empty()) {
        const auto left = ceil<milliseconds>(end - steady_clock::now());
        if (left.count() <= 0 || !isWritable(left)) {
            return;
        }
        resume();
    }
}

void LineWriter::append(const QString& line)
{
    const QByteArray bytes = onOneLine(line).toUtf8();
    m_lines.push_back(firstBytes(bytes, maxLineBytes - 1).toByteArray() + '\n');
}

void LineWriter::appendNumberDropped()
{
    if (m_dropped > 0) {
        append(messageText(Message::LinesDropped, {QString::number(m_dropped)}));
        m_dropped = 0;
    }
}

void LineWriter::forgetFirst()
{
    m_lines.pop_front();
    m_writtenOfFirst = 0;
    if (m_lines.empty()) {
        appendNumberDropped();
    }
}

bool LineWriter::isWritable(std::chrono::milliseconds timeout) const
{
    // A broken end counts as writable too: the writing tells.
    pollfd waiting = {m_descriptor, POLLOUT, 0};
    return ::poll(&waiting, 1, static_cast<int>(timeout.count())) > 0;
}

} // namespace wingbell
