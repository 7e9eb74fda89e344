#include "server/ServerProcess.h"

#include "base/Utf8.h"

#include <QRegularExpression>
#include <QSet>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace wingbell {

namespace {

/// What a pipe holds at most unless its writer enlarges it: one read takes all that waits.
constexpr size_t chunkSize = 64UL * 1024;

/// Keeps hold of the processes that outlive the program. QProcess kills its child when it is
/// destroyed, so at the program's end those left must not be.
QSet<ServerProcess*>& livingProcesses()
{
    static auto* const processes = new QSet<ServerProcess*>;
    return *processes;
}

/// A program that ignores SIGCHLD hands that on to the programs it starts, and perhaps started this
/// one: the system would then keep no exit status of ours. Restored here, where it is needed,
/// rather than at the start of each program that may come to use this.
void keepExitStatuses()
{
    struct sigaction action = {};
    if (::sigaction(SIGCHLD, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
        ::signal(SIGCHLD, SIG_DFL);
    }
}

} // namespace

std::optional<QStringList> linesOfChunk(QByteArrayView chunk)
{
    static const QRegularExpression lineFeed(QStringLiteral("(?<!\\r)\\n"));
    const std::optional<QString> text = textIfUtf8(chunk);
    return text ? std::optional(text->split(lineFeed, Qt::SkipEmptyParts)) : std::nullopt;
}

ServerProcess::ServerProcess()
{
    livingProcesses().insert(this);
    connect(&m_process, &QProcess::finished, this, &ServerProcess::handleExit);
}

ServerProcess::~ServerProcess()
{
    closeOutput();
    livingProcesses().remove(this);
}

ServerProcess::Launch ServerProcess::launch(const QString& program, const QStringList& arguments)
{
    auto* const process = new ServerProcess;
    const QString problem = process->run(program, arguments);
    if (!problem.isNull()) {
        delete process;
        return {nullptr, problem};
    }
    return {process, {}};
}

QString ServerProcess::run(const QString& program, const QStringList& arguments)
{
    // An own pipe: QProcess would stop reading at the exit and lose what a grandchild still says.
    std::array<int, 2> ends = {-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return qt_error_string(errno);
    }
    const auto [readingEnd, writingEnd] = ends;
    m_output = readingEnd;
    (void)::fcntl(readingEnd, F_SETFL, O_NONBLOCK);

    m_process.setProgram(program);
    m_process.setArguments(arguments);
    m_process.setStandardInputFile(QProcess::nullDevice());
    m_process.setProcessChannelMode(QProcess::ForwardedChannels);
    m_process.setChildProcessModifier([output = writingEnd] {
        (void)::setsid();
        (void)::dup2(output, STDOUT_FILENO);
        (void)::dup2(output, STDERR_FILENO);
    });
    keepExitStatuses();
    m_process.start();
    constexpr int forAsLongAsItTakes = -1;
    const bool started = m_process.waitForStarted(forAsLongAsItTakes);
    (void)::close(writingEnd);
    if (!started) {
        return m_process.errorString();
    }
    m_readable = std::make_unique<QSocketNotifier>(m_output, QSocketNotifier::Read);
    connect(m_readable.get(), &QSocketNotifier::activated, this, [this] { readChunk(); });
    return {};
}

bool ServerProcess::isRunning() const
{
    if (m_process.state() != QProcess::Running) {
        return false;
    }
    // QProcess learns of an exit from the event loop only; the system knows at once.
    siginfo_t exit = {};
    const int looked = ::waitid(
        P_PID, static_cast<id_t>(m_process.processId()), &exit,
        WEXITED | WNOHANG | WNOWAIT | __WALL);
    return looked == 0 && exit.si_pid == 0;
}

void ServerProcess::terminate()
{
    m_process.terminate();
}

/// Reads and tells what waits in the pipe, closes it at its end. The number of bytes read.
qsizetype ServerProcess::readChunk()
{
    std::array<char, chunkSize> chunk; // NOLINT(cppcoreguidelines-pro-type-member-init)
    const ssize_t count = ::read(m_output, chunk.data(), chunk.size());
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return 0;
    }
    if (count <= 0) {
        closeOutput();
        deleteWhenDone();
        return 0;
    }
    if (const auto lines = linesOfChunk(QByteArrayView(chunk.data(), count))) {
        Q_EMIT outputRead(*lines);
    }
    return count;
}

void ServerProcess::handleExit(int status)
{
    // What the process said comes before its end. Only what waits now is taken: a grandchild may
    // go on writing for ever.
    int waiting = 0;
    if (m_output >= 0 && ::ioctl(m_output, FIONREAD, &waiting) == 0) {
        while (m_output >= 0 && waiting > 0) {
            const qsizetype count = readChunk();
            if (count == 0) {
                break;
            }
            waiting -= static_cast<int>(count);
        }
    }
    m_exited = true;
    Q_EMIT exited(status);
    deleteWhenDone();
}

void ServerProcess::closeOutput()
{
    m_readable.reset();
    if (m_output >= 0) {
        (void)::close(m_output);
        m_output = -1;
    }
}

void ServerProcess::deleteWhenDone()
{
    if (m_exited && m_output < 0) {
        deleteLater();
    }
}

} // namespace wingbell
