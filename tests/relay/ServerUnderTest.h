#pragma once

#include <QProcess>
#include <QStringList>

#include <optional>

/// A running IntercomServer, and what it said. Ended with its owner, and with the test
/// program, whatever becomes of them.
///
/// Every wait fails after `timeout`.
class ServerUnderTest
{
public:
    static constexpr int timeout = 30'000; ///< milliseconds, for the slowest machine

    /// How a server ended: with an exit status or by a signal.
    struct End
    {
        bool bySignal = false;
        int status = 0;

        friend bool operator==(const End&, const End&) = default;
    };

    ServerUnderTest();
    ~ServerUnderTest();
    Q_DISABLE_COPY_MOVE(ServerUnderTest)

    /// To be called before start(): a named pipe that takes the standard output.
    void sendOutputTo(const QString& path) { m_process.setStandardOutputFile(path); }

    /// To be called before start(): where the server looks for the programs that it runs.
    void setPath(const QString& path);
    /// To be called before start(): where the server keeps what stays from show to show, instead of
    /// the folder that all servers of a test program share.
    void setStateFolder(const QString& path);
    /// Where it keeps what stays from show to show; shared by all servers of a test program.
    [[nodiscard]] QString stateFolder() const;

    /// To be called before start(): where the server's sockets are, instead of the folder that all
    /// servers of a test program share.
    void setRuntimeFolder(const QString& path);
    [[nodiscard]] QString runtimeFolder() const;

    /// To be called before start(): the folder for all users of the desk; otherwise there is none.
    void setSharedFolder(const QString& path);

    /// To be called before start(): where it finds what tells of the computer, instead of nothing.
    void setSystemRoot(const QString& path);

    /// To be called before start(): it is told of this system bus; otherwise of none.
    void setSystemBus(const QByteArray& address);
    /// The same, and the kernel gives it no real-time priority, as to ordinary users.
    void setWithoutPriority(const QByteArray& busAddress);

    /// To be called before start(): the kernel behaves as one that has no Landlock.
    void setWithoutLandlock();

    /// Runs the server itself or, with a `program`, whatever becomes it.
    [[nodiscard]] bool start(const QStringList& arguments, const QString& program = {});
    [[nodiscard]] bool isRunning() const { return m_process.state() == QProcess::Running; }
    [[nodiscard]] qint64 processId() const { return m_process.processId(); }

    /// The next line, without its line feed; none when the output ended.
    [[nodiscard]] std::optional<QString> nextLine();
    /// The lines up to the first one that contains `last`, that one included; all of them when the
    /// output ended before.
    [[nodiscard]] QStringList linesThrough(const QString& last);

    void signal(int number) const;
    /// Waits for the end; none when it does not come.
    [[nodiscard]] std::optional<End> waitForEnd();
    /// What is left of the output after the end, and all of standard error.
    [[nodiscard]] QStringList remainingLines();
    [[nodiscard]] QString errorText();

private:
    void setVariable(const QString& name, const QString& value);

    QProcess m_process;
    /// Otherwise it depends on the user who runs the tests, and the line is left out.
    bool m_tellsPriority = false;
    QByteArray m_unread;
};
