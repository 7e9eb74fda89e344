#include "desktop/DesktopSleepInhibitor.h"

#include <utility>

namespace wingbell {

DesktopSleepInhibitor::DesktopSleepInhibitor(std::vector<SleepService> services)
    : m_services(std::move(services))
{
}

quint32 DesktopSleepInhibitor::inhibit(const QString& reason)
{
    do {
        ++m_lastIdentifier;
    } while (m_lastIdentifier == 0 || m_asked.contains(m_lastIdentifier));
    askNext(m_lastIdentifier, reason);
    return m_lastIdentifier;
}

void DesktopSleepInhibitor::release(quint32 identifier)
{
    for (SleepBackend* const backend : m_asked.take(identifier)) {
        backend->release();
    }
}

void DesktopSleepInhibitor::askNext(quint32 identifier, const QString& reason)
{
    Backends& asked = m_asked[identifier];
    const auto next = static_cast<std::size_t>(asked.size());
    if (next == m_services.size()) {
        return;
    }
    auto* const backend = new SleepBackend(m_services[next], reason, this);
    asked.append(backend);
    connect(backend, &SleepBackend::failed, this, [this, backend, identifier, reason] {
        if (m_asked.value(identifier).endsWith(backend)) {
            askNext(identifier, reason);
        }
    });
    connect(backend, &SleepBackend::held, this, [this, backend, identifier] {
        Backends& all = m_asked[identifier];
        while (!all.endsWith(backend)) {
            all.takeLast()->release(); // one holder is enough
        }
    });
}

} // namespace wingbell
