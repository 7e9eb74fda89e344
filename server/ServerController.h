#pragma once

#include "model/ShowConfig.h"

#include <QObject>
#include <QPointer>
#include <QStringList>

#include <functional>
#include <optional>

namespace wingbell {

class ServerProcess;

/// Keeps the computer from falling asleep by itself while something runs; the display may sleep.
///
/// User-interface thread only. No call waits for anything outside the program, none fails.
class SleepInhibitor
{
public:
    SleepInhibitor() = default;
    Q_DISABLE_COPY_MOVE(SleepInhibitor)
    virtual ~SleepInhibitor() = default;

    /// Takes one inhibition that bears `reason`, for a person to read. The identifier to release it
    /// by; 0 when there is none to release.
    [[nodiscard]] virtual quint32 inhibit(const QString& reason) = 0;

    /// Gives back the inhibition with that identifier. An unknown identifier is ignored.
    virtual void release(quint32 identifier) = 0;
};

/// Starts, watches and stops the one intercom server, and keeps its words.
///
/// Stopped, Starting (launched, silent so far) or Running (has said something). Every outcome is a
/// line in `logLines`; nothing is returned or thrown. Destroying the controller neither ends a
/// running server nor lets the computer sleep. User-interface thread only.
class ServerController : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY isRunningChanged)
    Q_PROPERTY(bool isStarting READ isStarting NOTIFY isStartingChanged)
    Q_PROPERTY(QStringList logLines READ logLines NOTIFY logLinesChanged)
    Q_PROPERTY(qint64 droppedLines READ droppedLines NOTIFY logLinesChanged)

public:
    /// Finds the server's executable; nothing when there is none.
    using Lookup = std::function<std::optional<QString>()>;

    /// Lines of server output that are kept. The controller's own lines count only when the next
    /// output arrives, so that the lines of a stop never push out what the server said last.
    static constexpr qsizetype maxLogLines = 500;

    /// Absolute path of the `IntercomServer` that belongs to an application whose executable lies
    /// in `executableFolder`; nothing when no file is there. Whether it can be run is not looked
    /// at.
    [[nodiscard]] static std::optional<QString> embeddedServer(const QString& executableFolder);

    /// A controller of the application's own server. `config` and `sleep`, which keeps the computer
    /// awake, must outlive it; `sleep` keeps what it holds when the controller goes.
    ServerController(ShowConfig& config, SleepInhibitor& sleep, QObject* parent = nullptr);

    /// A controller of another server.
    ServerController(
        ShowConfig& config, Lookup lookup, SleepInhibitor& sleep, QObject* parent = nullptr);

    [[nodiscard]] bool isRunning() const { return m_isRunning; }
    [[nodiscard]] bool isStarting() const { return m_isStarting; }
    /// Oldest first.
    [[nodiscard]] const QStringList& logLines() const { return m_logLines; }
    /// How many lines have left the log, trimmed or cleared, since the controller was made. With
    /// its position in the log added, a line keeps one running number as long as it is there.
    [[nodiscard]] qint64 droppedLines() const { return m_droppedLines; }
    /// The show that is edited; the server reads its file, never this.
    [[nodiscard]] ShowConfig& config() const { return m_config; }

    /// Launches the server on the show's file, with an empty log. Ignored unless stopped.
    Q_INVOKABLE void start();
    /// Asks a running server to terminate; what follows, follows its exit. Ignored unless running.
    Q_INVOKABLE void stop();

Q_SIGNALS:
    void isRunningChanged();
    void isStartingChanged();
    void logLinesChanged();

private:
    void setIsRunning(bool running);
    void setIsStarting(bool starting);
    void clearLog();
    void log(const QString& line);
    void appendLog(const QStringList& lines);
    void handleExit(int status);
    void preventSleep();
    void allowSleep();

    bool m_isRunning = false;
    bool m_isStarting = false;
    QStringList m_logLines;
    qint64 m_droppedLines = 0;
    QPointer<ServerProcess> m_process;
    quint32 m_assertionID = 0; ///< of the held sleep inhibition; 0 means none
    ShowConfig& m_config;
    Lookup m_lookup;
    SleepInhibitor& m_sleep;
};

} // namespace wingbell
