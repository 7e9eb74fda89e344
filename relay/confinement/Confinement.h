#pragma once

#include "relay/confinement/Landlock.h"
#include "relay/confinement/SystemCallFilter.h"

#include <QStringList>

#include <string>
#include <sys/resource.h>
#include <vector>

namespace wingbell {

/// A sandbox of the kernel (Landlock, seccomp and resource limits): prepared first, entered later,
/// never left again.
struct Confinement
{
    struct Limit
    {
        __rlimit_resource resource; ///< RLIMIT_CPU and so on
        rlim_t max;
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

/// For the server once its ports are open and the show is read: it reads what its libraries need,
/// writes `ownFolders`, starts `speechProgram` and nothing else. To be entered on the main thread
/// before there is another: Landlock confines a thread and those that it starts, not its siblings.
[[nodiscard]] Confinement
serverConfinement(const std::vector<std::string>& ownFolders, const std::string& speechProgram);

/// For `speechProgram`, which reads strangers' text: it reads its libraries and data, writes
/// to its pipes, and that is all.
[[nodiscard]] Confinement speechConfinement(const std::string& speechProgram);

} // namespace wingbell
