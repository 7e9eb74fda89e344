#include "base/FileDescriptor.h"

#include <fcntl.h>
#include <unistd.h>

namespace wingbell {

void ensureStandardDescriptorsOpen()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) == -1) {
            // Takes the lowest free number, which is this one.
            (void)::open("/dev/null", O_RDWR);
        }
    }
}

} // namespace wingbell
