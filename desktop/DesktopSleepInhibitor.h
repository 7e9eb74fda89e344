#pragma once

#include "desktop/SleepBackend.h"
#include "server/ServerController.h"

#include <QHash>
#include <QList>
#include <QObject>

#include <vector>

namespace wingbell {

/// Keeps the computer awake by what the desktop or the system offers: by the first of its services
/// that grants it.
///
/// An identifier says that the inhibition is wanted, not that it is held: where nothing can be
/// taken, nothing is, silently, until a service appears. One that comes before the holder in the
/// list is taken before the holder is released. Between a release and the next wish nothing is open
/// and no timer runs. Destroying the inhibitor drops its connections, and the inhibitions with
/// them, without waiting.
class DesktopSleepInhibitor final : public QObject, public SleepInhibitor
{
    Q_OBJECT

public:
    explicit DesktopSleepInhibitor(std::vector<SleepService> services = sleepServices());

    [[nodiscard]] quint32 inhibit(const QString& reason) override;
    void release(quint32 identifier) override;

private:
    using Backends = QList<SleepBackend*>;

    void askNext(quint32 identifier, const QString& reason);

    const std::vector<SleepService> m_services;
    /// Those asked for each wish, in the order of the services. Children of this, which delete
    /// themselves when they are released.
    QHash<quint32, Backends> m_asked;
    quint32 m_lastIdentifier = 0;
};

} // namespace wingbell
