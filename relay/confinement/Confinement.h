#pragma once

#include "relay/confinement/Landlock.h"
#include "relay/confinement/SystemCallFilter.h"

#include <QStringList>

#include <sys/resource.h>
#include <vector>

namespace wingbell {

/// What a process may do from a moment on: made ready first, entered later, never left again.
struct Confinement
{
    struct Limit
    {
        __rlimit_resource resource; ///< RLIMIT_CPU and so on
        rlim_t most;
    };

    Landlock files;
    SystemCallFilter calls;
    std::vector<Limit> limits;

    /// What this kernel cannot do of it, for a person: "no Landlock", "no seccomp".
    [[nodiscard]] QStringList lacking() const;

    /// Enters all that the kernel has of it: files for the calling thread and what it starts from
    /// now on, calls and limits for the whole process, which also gains no privileges any more.
    /// Returns 0 or the system's error number. Makes system calls only, so it may stand between
    /// fork() and exec().
    [[nodiscard]] int enter() const noexcept;
};

} // namespace wingbell
