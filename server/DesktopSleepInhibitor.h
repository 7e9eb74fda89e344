#pragma once

#include "server/Inhibition.h"
#include "server/SleepInhibitor.h"

#include <QHash>
#include <QObject>

#include <chrono>
#include <functional>

namespace wingbell {

/// Keeps the computer awake by what the desktop or the system offers: the session manager, the
/// desktop's power manager, or the login manager, whichever answers first in that order.
///
/// An identifier says that the inhibition is wanted, not that it is held: where nothing can be
/// taken, nothing is, silently, until a facility appears. Between a release and the next wish
/// nothing is open and no timer runs. Destroying the inhibitor drops its connections, and the
/// inhibitions with them, without waiting.
class DesktopSleepInhibitor final : public QObject, public SleepInhibitor
{
    Q_OBJECT

public:
    /// Gives the facilities of one more inhibition.
    using Facilities = std::function<InhibitionFacilities()>;

    /// How long a facility may take before the next one is asked.
    static constexpr std::chrono::milliseconds usualPatience = std::chrono::seconds(5);

    explicit DesktopSleepInhibitor(std::chrono::milliseconds patience = usualPatience);
    explicit DesktopSleepInhibitor(Facilities facilities);

    [[nodiscard]] quint32 inhibit(const QString& reason) override;
    void release(quint32 identifier) override;

private:
    Facilities m_facilities;
    QHash<quint32, Inhibition*> m_wanted; ///< children of this, which delete themselves when done
    quint32 m_lastIdentifier = 0;
};

} // namespace wingbell
