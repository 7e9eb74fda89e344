#pragma once

#include "base/FileDescriptor.h"

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace wingbell {

struct Confinement;

/// The path of `program`, looked for as the shell does; a path stays as it is. Nothing when there
/// is no such program.
[[nodiscard]] std::optional<std::string> programPath(const std::string& program);

/// A child process with pipes to its input, its output and its error output; ended with its owner.
///
/// It inherits nothing: no other descriptor, no blocked or ignored signal. Should its owner die
/// before it, the pipes break, which ends it as soon as it writes.
class SpeechProcess
{
public:
    /// Starts `program`, looked for as programPath() does, with `arguments`; within `confinement`,
    /// if there is one. Where that fails, error() is the system's error number.
    SpeechProcess(
        const std::string& program, const std::vector<std::string>& arguments,
        const Confinement* confinement = nullptr);
    SpeechProcess(const SpeechProcess&) = delete;
    SpeechProcess& operator=(const SpeechProcess&) = delete;
    /// Kills it unless it has ended, and sees it off.
    ~SpeechProcess();

    [[nodiscard]] int error() const { return m_error; }

    /// Our ends of its pipes; none of them lets a call wait.
    [[nodiscard]] int input() const { return m_input.get(); }
    [[nodiscard]] int output() const { return m_output.get(); }
    [[nodiscard]] int errorOutput() const { return m_errorOutput.get(); }
    /// Readable once it has ended.
    [[nodiscard]] int end() const { return m_end.get(); }

    void closeInput() { m_input = FileDescriptor(); }
    void closeOutput() { m_output = FileDescriptor(); }
    void closeErrorOutput() { m_errorOutput = FileDescriptor(); }

    /// Waits for its end and returns its status as waitpid() tells it. To be called once.
    [[nodiscard]] int waitForEnd();

private:
    [[nodiscard]] int start(
        const std::string& program, const std::vector<std::string>& arguments,
        const Confinement* confinement);

    FileDescriptor m_input;
    FileDescriptor m_output;
    FileDescriptor m_errorOutput;
    FileDescriptor m_end;
    pid_t m_process = -1;
    int m_error = 0;
};

} // namespace wingbell
