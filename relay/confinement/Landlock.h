#pragma once

#include "base/FileDescriptor.h"

#include <string>

namespace wingbell {

/// Which files a thread and all that it starts may use, by the kernel's Landlock. What is not
/// allowed is denied, as far as this kernel can: files first of all, then TCP in both directions,
/// signals to other processes and abstract sockets of theirs.
class Landlock
{
public:
    enum class Access { Read, ReadAndWrite, Execute };

    Landlock();

    /// Whether the kernel has it. If not, nothing here has any effect.
    [[nodiscard]] bool isSupported() const { return m_ruleset.isOpen(); }

    /// Allows `path` and what is below it. What does not exist is skipped.
    void allow(const std::string& path, Access access);

    /// Confines the calling thread for good; needs no_new_privs. Returns 0 or the system's error
    /// number. Makes system calls only, so it may stand between fork() and exec().
    [[nodiscard]] int enter() const noexcept;

private:
    FileDescriptor m_ruleset;
    unsigned long long m_handled = 0; ///< the kinds of access that this kernel can deny
};

} // namespace wingbell
