#include "relay/speech/WakeUp.h"

#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace wingbell {

WakeUp::WakeUp()
    : m_descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!m_descriptor.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

void WakeUp::raise() const noexcept
{
    // Fails only when the count is full, and then it is raised already.
    const std::uint64_t once = 1;
    (void)!::write(m_descriptor.get(), &once, sizeof once);
}

bool WakeUp::isRaised() const noexcept
{
    pollfd waiting = {m_descriptor.get(), POLLIN, 0};
    return ::poll(&waiting, 1, 0) > 0;
}

void WakeUp::clear() const noexcept
{
    std::uint64_t count = 0;
    (void)!::read(m_descriptor.get(), &count, sizeof count);
}

} // namespace wingbell
