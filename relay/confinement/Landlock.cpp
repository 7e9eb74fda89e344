#include "relay/confinement/Landlock.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace wingbell {

namespace {

using Rights = std::uint64_t;

// The kernel's interface up to version 6. Debian 12's headers end at version 2.
constexpr Rights truncate = 1ULL << 14;
constexpr Rights deviceControl = 1ULL << 15;
constexpr Rights bindTcp = 1ULL << 0;
constexpr Rights connectTcp = 1ULL << 1;
constexpr Rights abstractSockets = 1ULL << 0;
constexpr Rights signals = 1ULL << 1;

struct RulesetAttributes
{
    Rights files;
    Rights network;
    Rights scopes;
};

constexpr Rights firstFileRights = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1U) - 1; // version 1 has all
constexpr Rights read = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;
constexpr Rights write = LANDLOCK_ACCESS_FS_WRITE_FILE | truncate | LANDLOCK_ACCESS_FS_REMOVE_FILE |
                         LANDLOCK_ACCESS_FS_REMOVE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG |
                         LANDLOCK_ACCESS_FS_MAKE_DIR;
/// The ones that a single file can have.
constexpr Rights ofFiles = LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_WRITE_FILE |
                           LANDLOCK_ACCESS_FS_READ_FILE | truncate | deviceControl;

/// To execute a file, the kernel opens it for reading.
constexpr Rights execute = LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_READ_FILE;

constexpr std::array<Rights, 3> rightsOfAccess = {read, read | write, execute};

/// What the kernel's `version` can deny: to ask for more is an error.
RulesetAttributes deniedIn(long version)
{
    RulesetAttributes denied = {firstFileRights, 0, 0};
    if (version >= 2) {
        denied.files |= LANDLOCK_ACCESS_FS_REFER;
    }
    if (version >= 3) {
        denied.files |= truncate;
    }
    if (version >= 4) {
        denied.network = bindTcp | connectTcp;
    }
    if (version >= 5) {
        denied.files |= deviceControl;
    }
    if (version >= 6) {
        denied.scopes = abstractSockets | signals;
    }
    return denied;
}

} // namespace

Landlock::Landlock()
{
    const long version =
        ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < 1) {
        return;
    }
    const RulesetAttributes denied = deniedIn(version);
    m_handled = denied.files;
    m_ruleset = FileDescriptor(
        static_cast<int>(::syscall(SYS_landlock_create_ruleset, &denied, sizeof denied, 0)));
}

void Landlock::allow(const std::string& path, Access access)
{
    const FileDescriptor parent(::open(path.c_str(), O_PATH | O_CLOEXEC));
    struct stat status = {};
    if (!isSupported() || !parent.isOpen() || ::fstat(parent.get(), &status) != 0) {
        return;
    }
    Rights rights = rightsOfAccess.at(static_cast<std::size_t>(access)) & m_handled;
    if (!S_ISDIR(status.st_mode)) {
        rights &= ofFiles;
    }
    const landlock_path_beneath_attr rule = {rights, parent.get()};
    (void)::syscall(SYS_landlock_add_rule, m_ruleset.get(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
}

int Landlock::enter() const noexcept
{
    return ::syscall(SYS_landlock_restrict_self, m_ruleset.get(), 0) == 0 ? 0 : errno;
}

} // namespace wingbell
