#include "relay/crew/RandomBytes.h"

#include <cerrno>
#include <sys/random.h>

namespace wingbell {

QByteArray randomBytes(qsizetype count)
{
    QByteArray bytes(count, Qt::Uninitialized);
    qsizetype filled = 0;
    while (filled < count) {
        const ssize_t more =
            ::getrandom(bytes.data() + filled, static_cast<size_t>(count - filled), 0);
        if (more < 0 && errno != EINTR) {
            qFatal("The system gives no random numbers.");
        }
        filled += more > 0 ? more : 0;
    }
    return bytes;
}

} // namespace wingbell
