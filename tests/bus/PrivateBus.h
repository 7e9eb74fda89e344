#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

namespace wingbell {

/// A message bus of a test's own: its daemon, its socket and the services that it could launch.
/// Gone, with everything it made, when destroyed.
class PrivateBus
{
public:
    /// Starts the daemon and waits until it listens; check isRunning().
    PrivateBus();
    Q_DISABLE_COPY_MOVE(PrivateBus)
    ~PrivateBus();

    [[nodiscard]] bool isRunning() const { return m_daemon.state() == QProcess::Running; }
    [[nodiscard]] qint64 processId() const { return m_daemon.processId(); }
    /// As clients are told it by the environment.
    [[nodiscard]] QByteArray address() const;
    /// The folder in which the socket, with the name "bus", and the configuration lie.
    [[nodiscard]] QString directory() const { return m_directory.path(); }

    /// Has the daemon launch `command`, a shell command, when the service `name` is called.
    [[nodiscard]] bool addLaunchable(const QString& name, const QString& command);

    /// Kills the daemon, and the connections with it.
    void stop();

private:
    [[nodiscard]] bool writeConfiguration() const;

    QTemporaryDir m_directory;
    QProcess m_daemon;
};

/// Makes `process` die with the test program, also when that is killed.
void dieWithTheTest(QProcess& process);

} // namespace wingbell
