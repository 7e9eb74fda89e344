#include "server/DesktopSleepInhibitor.h"

#include "server/LogindFacility.h"
#include "server/PowerManagementFacility.h"
#include "server/SessionManagerFacility.h"

#include <utility>

namespace wingbell {

namespace {

InhibitionFacilities desktopFacilities(std::chrono::milliseconds patience)
{
    using Desktop = PowerManagementFacility::Desktop;
    InhibitionFacilities facilities;
    facilities.push_back(std::make_unique<SessionManagerFacility>(patience));
    facilities.push_back(std::make_unique<PowerManagementFacility>(Desktop::Other, patience));
    facilities.push_back(std::make_unique<LogindFacility>(patience));
    // The last resort: it would keep the display lit as well.
    facilities.push_back(std::make_unique<PowerManagementFacility>(Desktop::Xfce, patience));
    return facilities;
}

} // namespace

DesktopSleepInhibitor::DesktopSleepInhibitor(std::chrono::milliseconds patience)
    : DesktopSleepInhibitor([patience] { return desktopFacilities(patience); })
{
}

DesktopSleepInhibitor::DesktopSleepInhibitor(Facilities facilities)
    : m_facilities(std::move(facilities))
{
}

quint32 DesktopSleepInhibitor::inhibit(const QString& reason)
{
    do {
        ++m_lastIdentifier;
    } while (m_lastIdentifier == 0 || m_wanted.contains(m_lastIdentifier));
    auto* inhibition = new Inhibition(m_facilities(), reason, this);
    connect(inhibition, &Inhibition::finished, inhibition, &QObject::deleteLater);
    m_wanted.insert(m_lastIdentifier, inhibition);
    return m_lastIdentifier;
}

void DesktopSleepInhibitor::release(quint32 identifier)
{
    if (Inhibition* inhibition = m_wanted.take(identifier)) {
        inhibition->release();
    }
}

} // namespace wingbell
