#include "relay/StopSignals.h"

#include <csignal>
#include <sys/signalfd.h>

namespace wingbell {

StopSignals::StopSignals()
{
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGHUP, SIG_IGN);
    sigset_t set = {};
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    m_descriptor = FileDescriptor(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!m_descriptor.isOpen()) {
        ::sigprocmask(SIG_UNBLOCK, &set, nullptr);
    }
}

} // namespace wingbell
