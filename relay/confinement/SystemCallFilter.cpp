#include "relay/confinement/SystemCallFilter.h"

#include "base/FileDescriptor.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <linux/seccomp.h>
#include <memory>
#include <sched.h>
#include <seccomp.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace wingbell {

namespace {

constexpr std::uint64_t namespaces = CLONE_NEWCGROUP | CLONE_NEWIPC | CLONE_NEWNET | CLONE_NEWNS |
                                     CLONE_NEWPID | CLONE_NEWUSER | CLONE_NEWUTS;

struct FreeFilter
{
    void operator()(void* filter) const { seccomp_release(filter); }
};
using Filter = std::unique_ptr<void, FreeFilter>;

/// The kernel looks at the arguments only when it has the call: without a filter to read, that is
/// a bad address.
bool kernelHasFilters()
{
    return ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, nullptr) == -1 && errno == EFAULT;
}

void add(const Filter& filter, std::uint32_t action, SystemCallFilter::Names names)
{
    for (const char* const name : names) {
        const int call = seccomp_syscall_resolve_name(name);
        if (call != __NR_SCMP_ERROR) {
            (void)seccomp_rule_add(filter.get(), action, call, 0);
        }
    }
}

/// The filter as the kernel takes it.
std::vector<sock_filter> programOf(const Filter& filter)
{
    std::array<int, 2> ends = {-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return {};
    }
    const FileDescriptor output(ends[0]);
    const FileDescriptor input(ends[1]);
    std::vector<sock_filter> program(BPF_MAXINSNS); // a pipe holds twice as many
    if (seccomp_export_bpf(filter.get(), input.get()) != 0) {
        return {};
    }
    const ssize_t size = ::read(output.get(), program.data(), program.size() * sizeof(sock_filter));
    program.resize(size > 0 ? static_cast<std::size_t>(size) / sizeof(sock_filter) : 0);
    return program;
}

} // namespace

SystemCallFilter::SystemCallFilter(const Rules& rules)
{
    // Machines of 32 bits have other names for many calls.
    if (sizeof(void*) < 8 || !kernelHasFilters()) {
        return;
    }
    const Filter filter(seccomp_init(SCMP_ACT_ERRNO(ENOSYS)));
    if (!filter) {
        return;
    }
    constexpr std::uint32_t asTree = 2;
    (void)seccomp_attr_set(filter.get(), SCMP_FLTATR_CTL_OPTIMIZE, asTree);
    for (const Names names : rules.allowed) {
        add(filter, SCMP_ACT_ALLOW, names);
    }
    add(filter, SCMP_ACT_ERRNO(EPERM), rules.forbidden);
    for (const char* const name : rules.allowedForOwnThread) {
        constexpr std::uint64_t numberBits = 0xffffffff;
        (void)seccomp_rule_add(
            filter.get(), SCMP_ACT_ALLOW, seccomp_syscall_resolve_name(name), 1,
            scmp_arg_cmp{0, SCMP_CMP_MASKED_EQ, numberBits, 0});
    }
    // clone3() keeps its flags in memory, where no filter sees them: libraries fall back to
    // clone().
    const std::uint64_t looked =
        rules.clones == Clones::Threads ? std::uint64_t{CLONE_THREAD} : namespaces;
    const std::uint64_t found = rules.clones == Clones::Threads ? looked : 0;
    (void)seccomp_rule_add(
        filter.get(), SCMP_ACT_ALLOW, SCMP_SYS(clone), 1,
        scmp_arg_cmp{0, SCMP_CMP_MASKED_EQ, looked, found});
    for (const int family : rules.socketFamilies) {
        (void)seccomp_rule_add(
            filter.get(), SCMP_ACT_ALLOW, SCMP_SYS(socket), 1,
            scmp_arg_cmp{0, SCMP_CMP_EQ, static_cast<scmp_datum_t>(family), 0});
    }
    m_program = programOf(filter);
}

int SystemCallFilter::enter() const noexcept
{
    // The kernel does not change what it takes.
    const sock_fprog program = {
        static_cast<unsigned short>(m_program.size()), const_cast<sock_filter*>(m_program.data())};
    const long result =
        ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_TSYNC, &program);
    if (result > 0) {
        return EAGAIN; // the number of a thread that could not follow
    }
    return result == 0 ? 0 : errno;
}

} // namespace wingbell
