#pragma once

#include <cstdint>
#include <initializer_list>
#include <linux/filter.h>
#include <span>
#include <vector>

namespace wingbell {

/// Which system calls a process may make, by the kernel's seccomp. A call that is not listed fails
/// as if the kernel did not have it, so that a library takes the older way; one that is forbidden
/// fails as not permitted. Nothing is killed for a call.
class SystemCallFilter
{
public:
    /// A list of names. Names that the machine does not have are skipped.
    using Names = std::span<const char* const>;

    /// What clone() may make.
    enum class Clones { Threads, ThreadsAndProcesses };

    struct Rules
    {
        std::vector<Names> allowed;
        Names allowedForOwnThread; ///< with 0 for a thread's number, which is the calling one
        Names forbidden;
        Clones clones = Clones::Threads;
        std::vector<int> socketFamilies; ///< AF_INET and so on
    };

    explicit SystemCallFilter(const Rules& rules);

    /// Whether the kernel has it, and this kind of machine a list. If not, enter() must not be
    /// called.
    [[nodiscard]] bool isSupported() const { return !m_program.empty(); }

    /// Confines every thread of the process for good; needs no_new_privs. Returns 0 or the system's
    /// error number. Makes system calls only, so it may stand between fork() and exec().
    [[nodiscard]] int enter() const noexcept;

private:
    std::vector<sock_filter> m_program;
};

} // namespace wingbell
