#include "server/ServerController.h"

#include "server/ServerProcess.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <utility>

namespace wingbell {

std::optional<QString> ServerController::embeddedServer(const QString& executableFolder)
{
    const QString path = QDir::cleanPath(
        executableFolder + QStringLiteral("/../libexec/wingbell-control/IntercomServer"));
    return QFileInfo(path).isFile() ? std::optional(path) : std::nullopt;
}

ServerController::ServerController(ShowConfig& config, SleepInhibitor& sleep, QObject* parent)
    : ServerController(
          config, [] { return embeddedServer(QCoreApplication::applicationDirPath()); }, sleep,
          parent)
{
}

ServerController::ServerController(
    ShowConfig& config, Lookup lookup, SleepInhibitor& sleep, QObject* parent)
    : QObject(parent)
    , m_config(config)
    , m_lookup(std::move(lookup))
    , m_sleep(sleep)
{
}

void ServerController::start()
{
    if (m_isRunning || m_isStarting) {
        return;
    }
    const std::optional<QString> server = m_lookup();
    if (!server) {
        log(QStringLiteral(
            u"\u26A0\uFE0F This app is missing its embedded server binary \u2014 rebuild with "
            u"build_app.sh."));
        return;
    }
    clearLog();
    setIsStarting(true);

    const QString showFile = ShowConfig::documentPath();
    const ServerProcess::Launch launch = ServerProcess::launch(*server, {showFile});
    if (launch.process == nullptr) {
        log(QStringLiteral(u"\u26A0\uFE0F Couldn't start the server: ") + launch.problem);
        setIsStarting(false);
        return;
    }
    m_process = launch.process;
    connect(m_process, &ServerProcess::outputRead, this, &ServerController::appendLog);
    connect(m_process, &ServerProcess::exited, this, &ServerController::handleExit);
    preventSleep();
    log(QStringLiteral(u"\u25B6\uFE0E Starting server with ") + showFile + QChar(u'\u2026'));
}

void ServerController::stop()
{
    if (!m_isRunning || m_process.isNull() || !m_process->isRunning()) {
        return;
    }
    log(QStringLiteral(u"\u25A0 Stopping\u2026"));
    m_process->terminate();
}

void ServerController::handleExit(int status)
{
    log(status == 0 ? QStringLiteral(u"\u25A0 Server stopped.")
                    : QStringLiteral(u"\u25A0 Server exited (status %1).").arg(status));
    setIsRunning(false);
    setIsStarting(false);
    m_process.clear();
    allowSleep();
}

void ServerController::appendLog(const QStringList& lines)
{
    if (m_isStarting && !m_isRunning) {
        setIsRunning(true);
        setIsStarting(false);
    }
    m_logLines.append(lines);
    const qsizetype excess = m_logLines.size() - maxLogLines;
    if (excess > 0) {
        m_logLines.remove(0, excess);
        m_droppedLines += excess;
    }
    if (!lines.isEmpty() || excess > 0) {
        Q_EMIT logLinesChanged();
    }
}

void ServerController::log(const QString& line)
{
    m_logLines.append(line);
    Q_EMIT logLinesChanged();
}

void ServerController::clearLog()
{
    if (m_logLines.isEmpty()) {
        return;
    }
    m_droppedLines += m_logLines.size();
    m_logLines.clear();
    Q_EMIT logLinesChanged();
}

void ServerController::setIsRunning(bool running)
{
    if (std::exchange(m_isRunning, running) != running) {
        Q_EMIT isRunningChanged();
    }
}

void ServerController::setIsStarting(bool starting)
{
    if (std::exchange(m_isStarting, starting) != starting) {
        Q_EMIT isStartingChanged();
    }
}

void ServerController::preventSleep()
{
    if (m_assertionID == 0) {
        m_assertionID = m_sleep.inhibit(QStringLiteral("Wingbell show is running"));
    }
}

void ServerController::allowSleep()
{
    if (m_assertionID != 0) {
        m_sleep.release(std::exchange(m_assertionID, 0U));
    }
}

} // namespace wingbell
