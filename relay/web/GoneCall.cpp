#include "relay/web/GoneCall.h"

#include <utility>

namespace wingbell {

void GoneCall::set(std::function<void()> gone)
{
    m_gone = std::move(gone);
    if (m_hasHappened && m_gone) {
        m_later = std::make_unique<LoopSource>([this](short) { call(); });
        m_later->wakeSoon();
    }
}

void GoneCall::forget()
{
    m_gone = nullptr;
    m_later.reset();
}

void GoneCall::happen()
{
    m_hasHappened = true;
    call();
}

void GoneCall::call()
{
    if (const auto gone = std::exchange(m_gone, nullptr)) {
        gone();
    }
}

} // namespace wingbell
