#include "relay/speech/SpeechProcess.h"

#include "relay/confinement/Confinement.h"

#include <QFile>
#include <QStandardPaths>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace wingbell {

namespace {

struct Pipe
{
    FileDescriptor read;
    FileDescriptor write;

    [[nodiscard]] bool isOpen() const { return read.isOpen(); }
};

Pipe openPipe()
{
    std::array<int, 2> ends = {-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return {};
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// What the child runs with.
struct ChildPlan
{
    const char* path;
    char* const* arguments;
    std::array<int, 3> descriptors; ///< for its input, output and error output
    const Confinement* confinement;
};

/// Signals as for a program that a user starts, whatever they are with us.
void restoreSignals()
{
    struct sigaction usual = {};
    usual.sa_handler = SIG_DFL;
    for (int number = 1; number <= SIGRTMAX; ++number) {
        (void)::sigaction(number, &usual, nullptr); // some cannot be changed, and need not be
    }
    sigset_t none = {};
    sigemptyset(&none);
    (void)::sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// What the child does until it is the program; returns why it is not. Another thread may have held
/// any lock when this process was copied, so there are system calls here and nothing else.
int becomeProgram(const ChildPlan& plan)
{
    restoreSignals();
    for (int target = STDIN_FILENO; target <= STDERR_FILENO; ++target) {
        if (::dup2(plan.descriptors[static_cast<std::size_t>(target)], target) < 0) {
            return errno;
        }
    }
    (void)::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    if (plan.confinement != nullptr) {
        if (const int error = plan.confinement->enter(); error != 0) {
            return error;
        }
    }
    ::execve(plan.path, plan.arguments, environ);
    return errno;
}

/// As the system wants them, which does not change them: pointers into `program` and `arguments`.
std::vector<char*>
argumentPointers(const std::string& program, const std::vector<std::string>& arguments)
{
    std::vector<char*> pointers = {const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

std::optional<std::string> programPath(const std::string& program)
{
    if (program.find('/') != std::string::npos) {
        return program;
    }
    const QString found = QStandardPaths::findExecutable(QString::fromStdString(program));
    return found.isEmpty() ? std::nullopt : std::optional(QFile::encodeName(found).toStdString());
}

SpeechProcess::SpeechProcess(
    const std::string& program, const std::vector<std::string>& arguments,
    const Confinement* confinement)
    : m_error(start(program, arguments, confinement))
{
}

SpeechProcess::~SpeechProcess()
{
    if (m_process > 0) {
        ::kill(m_process, SIGKILL);
        (void)waitForEnd();
    }
}

int SpeechProcess::start(
    const std::string& program, const std::vector<std::string>& arguments,
    const Confinement* confinement)
{
    const std::optional<std::string> path = programPath(program);
    if (!path) {
        return ENOENT;
    }
    Pipe input = openPipe();
    Pipe output = openPipe();
    Pipe errorOutput = openPipe();
    Pipe failure = openPipe(); // closed by a start that succeeds
    if (!input.isOpen() || !output.isOpen() || !errorOutput.isOpen() || !failure.isOpen()) {
        return errno;
    }
    for (const int ours : {input.write.get(), output.read.get(), errorOutput.read.get()}) {
        ::fcntl(ours, F_SETFL, O_NONBLOCK);
    }
    const std::vector<char*> pointers = argumentPointers(program, arguments);
    const ChildPlan plan = {
        path->c_str(),
        pointers.data(),
        {input.read.get(), output.write.get(), errorOutput.write.get()},
        confinement};
    m_process = ::fork();
    if (m_process < 0) {
        return errno;
    }
    if (m_process == 0) {
        const int error = becomeProgram(plan);
        (void)!::write(failure.write.get(), &error, sizeof error);
        ::_exit(127);
    }
    failure.write = FileDescriptor();
    int error = 0;
    while (::read(failure.read.get(), &error, sizeof error) < 0 && errno == EINTR) {
    }
    if (error != 0) {
        (void)waitForEnd();
        return error;
    }
    m_end = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, m_process, 0)));
    m_input = std::move(input.write);
    m_output = std::move(output.read);
    m_errorOutput = std::move(errorOutput.read);
    return m_end.isOpen() ? 0 : errno;
}

int SpeechProcess::waitForEnd()
{
    int status = 0;
    while (::waitpid(m_process, &status, 0) < 0 && errno == EINTR) {
    }
    m_process = -1;
    return status;
}

} // namespace wingbell
