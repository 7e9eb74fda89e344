#pragma once

#include "tests/bus/PrivateBus.h"

#include <QProcess>
#include <QString>
#include <QStringList>

namespace wingbell {

/// A service on a private bus that notes what it is asked; see tests/fixtures/bus_service.py for
/// the services and misbehaviours there are. Killed when destroyed.
class MockService
{
public:
    /// Starts the service and waits until it has its names; check isRunning().
    MockService(const PrivateBus& bus, const QString& service, const QStringList& options = {});
    Q_DISABLE_COPY_MOVE(MockService)
    ~MockService();

    [[nodiscard]] bool isRunning() const { return m_process.state() == QProcess::Running; }
    [[nodiscard]] qint64 processId() const { return m_process.processId(); }

    /// What has happened up to now: the calls as "interface.Method(arguments)", "caller left",
    /// "lock closed", "answered". Grows while the event loop runs.
    [[nodiscard]] const QStringList& log();

    /// Sends the answers that a hanging service kept back; the log then says "answered".
    void answer();

    /// Ends the service once it has taken in all that the bus has for it. The whole log.
    [[nodiscard]] const QStringList& finish();

    /// Ends it without a farewell.
    void kill();

private:
    QProcess m_process;
    QStringList m_log;
};

} // namespace wingbell
