#pragma once

#include <QByteArrayView>
#include <QObject>
#include <QProcess>
#include <QSocketNotifier>
#include <QStringList>

#include <memory>
#include <optional>

namespace wingbell {

/// The lines of one chunk of a server's output: split at line feeds, empty pieces dropped, nothing
/// trimmed. A carriage return and line feed pair is one character to a reader and splits nothing.
/// Each chunk stands alone: nothing is carried over to the next.
///
/// Nothing when the chunk is not UTF-8 from end to end, also when it cuts a character in half.
[[nodiscard]] std::optional<QStringList> linesOfChunk(QByteArrayView chunk);

/// A launched child process whose output and exit are watched.
///
/// It belongs to itself: it goes on draining the output, also when nothing listens, until the
/// process has exited and its output has ended (which a grandchild may delay), and then deletes
/// itself. Ending the program while the process runs leaves the process running; so does a terminal
/// that is closed, since the process has a session of its own. User-interface thread only; signals
/// come from the event loop, never from inside launch().
class ServerProcess : public QObject
{
    Q_OBJECT

public:
    /// The process, or, where there is none, the system's description of what went wrong.
    struct Launch
    {
        ServerProcess* process = nullptr;
        QString problem;
    };

    /// Runs `program` with exactly these arguments, standard output and standard error on one pipe,
    /// standard input empty, environment and working folder as they are. Returns once the program
    /// runs or has failed to.
    [[nodiscard]] static Launch launch(const QString& program, const QStringList& arguments);

    /// True until the process has exited, also where that exit has not been told yet.
    [[nodiscard]] bool isRunning() const;

    /// Sends the terminate signal.
    void terminate();

Q_SIGNALS:
    /// The lines of a chunk of output that is text; empty when it held line feeds alone.
    void outputRead(const QStringList& lines);

    /// Told once, after all output that was there at the exit. The exit status, or the number of
    /// the signal that ended the process.
    void exited(int status);

private:
    ServerProcess();
    ~ServerProcess() override;
    Q_DISABLE_COPY_MOVE(ServerProcess)

    [[nodiscard]] QString run(const QString& program, const QStringList& arguments);
    qsizetype readChunk();
    void handleExit(int status);
    void closeOutput();
    void deleteWhenDone();

    QProcess m_process;
    std::unique_ptr<QSocketNotifier> m_readable;
    int m_output = -1; ///< the pipe's reading end; -1 once it has ended
    bool m_exited = false;
};

} // namespace wingbell
