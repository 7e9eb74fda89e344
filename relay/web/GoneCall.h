#pragma once

#include "relay/web/LoopSource.h"

#include <functional>
#include <memory>

namespace wingbell {

/// Tells one listener, once, that the browser has gone: also one that begins to listen afterwards,
/// and that one from the main loop too.
class GoneCall
{
public:
    void set(std::function<void()> gone);

    /// Nobody wants to know any more.
    void forget();

    /// Only from the main loop. The listener may destroy this.
    void happen();

private:
    void call();

    std::function<void()> m_gone;
    bool m_hasHappened = false;
    std::unique_ptr<LoopSource> m_later;
};

} // namespace wingbell
