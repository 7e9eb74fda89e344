#include "relay/confinement/Confinement.h"

#include <algorithm>
#include <cerrno>
#include <sys/prctl.h>

namespace wingbell {

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
        both.rlim_max = std::min(both.rlim_max, limit.most); // which none may raise
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

} // namespace wingbell
