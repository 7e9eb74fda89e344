#include "relay/confinement/Confinement.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <link.h>
#include <sys/prctl.h>
#include <sys/socket.h>

namespace wingbell {

namespace {

using Access = Landlock::Access;

// The lists are of what is allowed: what is not named is denied. They are wider than what was
// seen in the server's life, by what its libraries take next on other kernels and in later
// versions.

/// What every program does to run, to read its files and to use its pipes.
constexpr std::array ordinaryCalls = {
    // memory
    "brk",
    "madvise",
    "mmap",
    "mprotect",
    "mremap",
    "munmap",
    // files, as far as Landlock lets it
    "access",
    "close",
    "close_range",
    "dup",
    "dup2",
    "dup3",
    "faccessat",
    "faccessat2",
    "fcntl",
    "fstat",
    "fstatfs",
    "getcwd",
    "getdents64",
    "ioctl",
    "lseek",
    "lstat",
    "newfstatat",
    "open",
    "openat",
    "openat2",
    "pread64",
    "read",
    "readlink",
    "readlinkat",
    "readv",
    "stat",
    "statfs",
    "statx",
    "umask",
    "write",
    "writev",
    // waiting
    "clock_nanosleep",
    "nanosleep",
    "pipe",
    "pipe2",
    "poll",
    "ppoll",
    "pselect6",
    "restart_syscall",
    "select",
    // threads, time and itself
    "arch_prctl",
    "clock_getres",
    "clock_gettime",
    "execve",
    "exit",
    "exit_group",
    "futex",
    "futex_waitv",
    "getegid",
    "geteuid",
    "getgid",
    "getpid",
    "getppid",
    "getrandom",
    "gettid",
    "gettimeofday",
    "getuid",
    "membarrier",
    "prlimit64",
    "rseq",
    "rt_sigaction",
    "rt_sigprocmask",
    "rt_sigreturn",
    "sched_getaffinity",
    "sched_yield",
    "set_robust_list",
    "set_tid_address",
    "sigaltstack",
    "sysinfo",
    "time",
    "uname",
};

/// What the server does beyond that.
constexpr std::array serverCalls = {
    // network
    "accept",
    "accept4",
    "bind",
    "connect",
    "getpeername",
    "getsockname",
    "getsockopt",
    "listen",
    "recvfrom",
    "recvmmsg",
    "recvmsg",
    "sendmmsg",
    "sendmsg",
    "sendto",
    "setsockopt",
    "shutdown",
    "socketpair",
    // files that are written
    "copy_file_range",
    "fadvise64",
    "fallocate",
    "fchmod",
    "fchmodat",
    "fdatasync",
    "flock",
    "fsync",
    "ftruncate",
    "memfd_create",
    "mkdir",
    "mkdirat",
    "preadv",
    "pwrite64",
    "pwritev",
    "rename",
    "renameat",
    "renameat2",
    "rmdir",
    "sendfile",
    "truncate",
    "unlink",
    "unlinkat",
    "utimensat",
    // waiting for many things
    "epoll_create",
    "epoll_create1",
    "epoll_ctl",
    "epoll_pwait",
    "epoll_pwait2",
    "epoll_wait",
    "eventfd",
    "eventfd2",
    "inotify_add_watch",
    "inotify_init1",
    "inotify_rm_watch",
    "signalfd4",
    "timerfd_create",
    "timerfd_gettime",
    "timerfd_settime",
    // children and signals
    "kill",
    "landlock_add_rule",
    "landlock_create_ruleset",
    "landlock_restrict_self",
    "pidfd_open",
    "pidfd_send_signal",
    "prctl",
    "rt_sigpending",
    "rt_sigsuspend",
    "rt_sigtimedwait",
    "seccomp",
    "tgkill",
    "wait4",
    "waitid",
    // itself
    "capget",
    "getcpu",
    "getgroups",
    "getpgid",
    "getpgrp",
    "getpriority",
    "getresgid",
    "getresuid",
    "getrlimit",
    "getrusage",
    "getsid",
    "mincore",
    "mlock",
    "mlock2",
    "msync",
    "munlock",
    "sched_get_priority_max",
    "sched_get_priority_min",
    "sched_getattr",
    "sched_getparam",
    "sched_getscheduler",
    "sched_setaffinity",
    "setitimer",
    "setpriority",
    "setrlimit",
    "times",
};

/// What a thread does to itself only: those of the audio ask for real-time priority, and give it
/// up.
constexpr std::array ownThreadCalls = {"sched_setattr", "sched_setparam", "sched_setscheduler"};

/// Not in the lists either; but a try is to be told from what the kernel does not have.
constexpr std::array forbiddenCalls = {
    "acct",
    "add_key",
    "bpf",
    "chroot",
    "delete_module",
    "finit_module",
    "fsmount",
    "fsopen",
    "init_module",
    "io_uring_enter",
    "io_uring_register",
    "io_uring_setup",
    "kexec_file_load",
    "kexec_load",
    "keyctl",
    "mount",
    "mount_setattr",
    "move_mount",
    "name_to_handle_at",
    "open_by_handle_at",
    "open_tree",
    "perf_event_open",
    "personality",
    "pidfd_getfd",
    "pivot_root",
    "process_madvise",
    "process_vm_readv",
    "process_vm_writev",
#ifndef WINGBELL_SANITIZED
    "ptrace",
#endif
    "quotactl",
    "reboot",
    "request_key",
    "setns",
    "swapon",
    "umount2",
    "unshare",
    "userfaultfd",
};

#ifdef WINGBELL_SANITIZED
/// At its end, such a program looks with a tracer of its own for memory that was lost.
constexpr std::array sanitizerCalls = {"getdents", "ptrace"};
#endif

/// The system's loader, which the kernel executes for every program: the one of this program.
std::string loaderPath()
{
    std::string path;
    // The first one called for is the program itself; 1 ends the round.
    const auto look = [](dl_phdr_info* info, std::size_t /*size*/, void* data) {
        for (int index = 0; index < info->dlpi_phnum; ++index) {
            const auto& header = info->dlpi_phdr[index];
            if (header.p_type == PT_INTERP) {
                *static_cast<std::string*>(data) =
                    reinterpret_cast<const char*>(info->dlpi_addr + header.p_vaddr);
            }
        }
        return 1;
    };
    ::dl_iterate_phdr(look, &path);
    return path;
}

void allowRunning(Landlock& files, const std::string& program)
{
    files.allow(program, Access::Execute);
    files.allow(loaderPath(), Access::Execute);
}

} // namespace

QStringList Confinement::lacking() const
{
    QStringList lacking;
    if (!files.isSupported()) {
        lacking.append(QStringLiteral("no Landlock"));
    }
    if (!calls.isSupported()) {
        lacking.append(QStringLiteral("no seccomp"));
    }
    return lacking;
}

int Confinement::enter() const noexcept
{
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) {
        return errno;
    }
    for (const Limit& limit : limits) {
        rlimit both = {};
        (void)::getrlimit(limit.resource, &both);
        both.rlim_max = std::min(both.rlim_max, limit.max); // which cannot be raised again
        both.rlim_cur = both.rlim_max;
        if (::setrlimit(limit.resource, &both) != 0) {
            return errno;
        }
    }
    if (files.isSupported()) {
        if (const int error = files.enter(); error != 0) {
            return error;
        }
    }
    return calls.isSupported() ? calls.enter() : 0;
}

Confinement
serverConfinement(const std::vector<std::string>& ownFolders, const std::string& speechProgram)
{
    SystemCallFilter::Rules calls;
    calls.allowed = {ordinaryCalls, serverCalls};
#ifdef WINGBELL_SANITIZED
    calls.allowed.emplace_back(sanitizerCalls);
#endif
    calls.allowedForOwnThread = ownThreadCalls;
    calls.forbidden = forbiddenCalls;
    calls.clones = SystemCallFilter::Clones::ThreadsAndProcesses;
    calls.socketFamilies = {AF_UNIX, AF_INET, AF_INET6, AF_NETLINK};
    Confinement server{{}, SystemCallFilter(calls), {}};

    for (const char* const path :
         {// libraries and their data; the media library loads its parts when a member joins
          "/usr", "/lib", "/lib64", "/etc/ld.so.cache", "/etc/ssl", "/etc/gnutls", "/etc/localtime",
          "/dev/urandom", "/sys/devices/system/cpu",
          // looking up names
          "/etc/gai.conf", "/etc/host.conf", "/etc/hosts", "/etc/nsswitch.conf", "/etc/passwd",
          "/etc/resolv.conf"}) {
        server.files.allow(path, Access::Read);
    }
    server.files.allow("/dev/null", Access::ReadAndWrite);
    for (const std::string& folder : ownFolders) {
        server.files.allow(folder, Access::ReadAndWrite);
    }
    allowRunning(server.files, speechProgram);
#ifdef WINGBELL_COVERAGE_FOLDER
    server.files.allow(WINGBELL_COVERAGE_FOLDER, Access::ReadAndWrite);
#endif
#ifdef WINGBELL_SANITIZED
    server.files.allow("/proc", Access::Read);
    server.files.allow(WINGBELL_SUPPRESSIONS, Access::Read); // read at the end only
#endif
    return server;
}

Confinement speechConfinement(const std::string& speechProgram)
{
    // Far more than any text of an announcement takes, and little for the computer.
    constexpr rlim_t processorSeconds = 20;
    constexpr rlim_t addressBytes = rlim_t{512} * 1024 * 1024;
    constexpr rlim_t descriptors = 64;

    SystemCallFilter::Rules calls;
    calls.allowed = {ordinaryCalls};
    calls.forbidden = forbiddenCalls;
    Confinement speech{
        {},
        SystemCallFilter(calls),
        {{RLIMIT_CPU, processorSeconds},
         {RLIMIT_AS, addressBytes},
         {RLIMIT_NOFILE, descriptors},
         {RLIMIT_FSIZE, 0},
         {RLIMIT_CORE, 0}}};
    for (const char* const path :
         {"/usr/lib", "/usr/lib64", "/usr/share", "/usr/local/lib", "/lib", "/lib64",
          "/etc/ld.so.cache"}) {
        speech.files.allow(path, Access::Read);
    }
    allowRunning(speech.files, speechProgram);
    return speech;
}

} // namespace wingbell
