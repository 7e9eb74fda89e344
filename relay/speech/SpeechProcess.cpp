#include "relay/speech/SpeechProcess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
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

/// What the child's descriptors are to be: its three pipes and nothing else.
class FileActions
{
public:
    FileActions(int input, int output, int errorOutput)
    {
        ::posix_spawn_file_actions_init(&m_actions);
        const std::array<int, 3> sources = {input, output, errorOutput};
        for (int target = STDIN_FILENO; target <= STDERR_FILENO; ++target) {
            const int source = sources.at(static_cast<std::size_t>(target));
            ::posix_spawn_file_actions_adddup2(&m_actions, source, target);
        }
        ::posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1);
    }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    ~FileActions() { ::posix_spawn_file_actions_destroy(&m_actions); }

    [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions = {};
};

/// Signals as for a program that a user starts, whatever they are with us.
class SignalDefaults
{
public:
    SignalDefaults()
    {
        ::posix_spawnattr_init(&m_attributes);
        sigset_t none = {};
        sigemptyset(&none);
        ::posix_spawnattr_setsigmask(&m_attributes, &none);
        sigset_t all = {};
        sigfillset(&all);
        sigdelset(&all, SIGKILL);
        sigdelset(&all, SIGSTOP);
        ::posix_spawnattr_setsigdefault(&m_attributes, &all);
        ::posix_spawnattr_setflags(
            &m_attributes, static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
    }
    SignalDefaults(const SignalDefaults&) = delete;
    SignalDefaults& operator=(const SignalDefaults&) = delete;
    ~SignalDefaults() { ::posix_spawnattr_destroy(&m_attributes); }

    [[nodiscard]] const posix_spawnattr_t* get() const { return &m_attributes; }

private:
    posix_spawnattr_t m_attributes = {};
};

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

SpeechProcess::SpeechProcess(const std::string& program, const std::vector<std::string>& arguments)
    : m_error(start(program, arguments))
{
}

SpeechProcess::~SpeechProcess()
{
    if (m_process > 0) {
        ::kill(m_process, SIGKILL);
        (void)waitForEnd();
    }
}

int SpeechProcess::start(const std::string& program, const std::vector<std::string>& arguments)
{
    Pipe input = openPipe();
    Pipe output = openPipe();
    Pipe errorOutput = openPipe();
    if (!input.isOpen() || !output.isOpen() || !errorOutput.isOpen()) {
        return errno;
    }
    for (const int ours : {input.write.get(), output.read.get(), errorOutput.read.get()}) {
        ::fcntl(ours, F_SETFL, O_NONBLOCK);
    }
    const FileActions files(input.read.get(), output.write.get(), errorOutput.write.get());
    const SignalDefaults signals;
    pid_t process = -1;
    const int error = ::posix_spawnp(
        &process, program.c_str(), files.get(), signals.get(),
        argumentPointers(program, arguments).data(), environ);
    if (error != 0) {
        return error;
    }
    m_process = process;
    m_end = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
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
