#pragma once

#include "base/FileDescriptor.h"

#include <QSocketNotifier>
#include <QTimer>

#include <chrono>
#include <functional>
#include <optional>

namespace wingbell {

/// Tells when this machine's addresses may have changed: by the kernel's messages (rtnetlink),
/// which also come when an address is only confirmed. Silent where the kernel sends none.
class AddressWatch
{
public:
    /// So long an address must have stayed: a new one often comes with others, and an IPv6 one is
    /// checked by the system before it can be used.
    static constexpr std::chrono::milliseconds settled{250};

    /// Calls `changed` from the event loop of this thread, until its end.
    explicit AddressWatch(std::function<void()> changed);
    Q_DISABLE_COPY_MOVE(AddressWatch)
    ~AddressWatch() = default;

private:
    FileDescriptor m_socket;
    QTimer m_settled;
    std::optional<QSocketNotifier> m_notifier;
};

} // namespace wingbell
