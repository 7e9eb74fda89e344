#pragma once

#include "base/FileDescriptor.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <cstddef>
#include <deque>

namespace wingbell {

/// Writes lines to a descriptor without blocking: never waits for its reader.
///
/// A line that cannot be written at once is queued until resume(); above `maxWaitingLines` further
/// ones are dropped and counted, and a line tells their number when there is room again. A line
/// that cannot be written at all (the reader is gone, the disk is full) is dropped. SIGPIPE must be
/// ignored. Not thread-safe.
class LineWriter
{
public:
    static constexpr std::size_t maxWaitingLines = 256;
    /// In bytes, with its line feed: what a pipe takes as one piece.
    static constexpr qsizetype maxLineBytes = 4096;

    /// `descriptor` stays the caller's and its settings stay as they are: others may share it.
    explicit LineWriter(int descriptor);

    /// Writes `line`, sanitized, and a line feed as UTF-8 in one piece, now or later. What goes
    /// beyond `maxLineBytes` is cut.
    void write(const QString& line);

    /// The descriptor to wait for until it is writable, to call resume() then; -1 while the queue
    /// is empty.
    [[nodiscard]] int awaitedDescriptor() const;

    /// Writes of the queue what can be written without blocking.
    void resume();

    /// Waits up to `timeout` until the queue is written.
    void finish(std::chrono::milliseconds timeout);

private:
    void append(const QString& line);
    void appendNumberDropped();
    void forgetFirst();
    [[nodiscard]] bool isWritable(std::chrono::milliseconds timeout) const;

    FileDescriptor m_own;
    int m_descriptor;
    std::deque<QByteArray> m_lines;
    qsizetype m_writtenOfFirst = 0;
    quint64 m_dropped = 0;
};

} // namespace wingbell
