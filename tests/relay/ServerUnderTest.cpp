#include "ServerUnderTest.h"

#include "relay/log/Messages.h"
#include "tests/fixtures/OldKernel.h"

#include <QDeadlineTimer>
#include <QTemporaryDir>

#include <csignal>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>

ServerUnderTest::ServerUnderTest()
{
    // A test program that is killed, being late, runs no destructor.
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    // The tests must not use the crew code and certificate of the user who runs them.
    static const QTemporaryDir state;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_STATE_HOME"), state.path());
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), state.path());
    environment.insert(
        QStringLiteral("WINGBELL_SHARED_STATE"), state.filePath(QStringLiteral("no shared one")));
    // Nor what it says of the computer that runs them.
    environment.insert(QStringLiteral("WINGBELL_SYSTEM_ROOT"), state.path());
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    m_process.setProcessEnvironment(environment);
    setSystemBus("unix:path=/nonexistent/bus");
}

ServerUnderTest::~ServerUnderTest()
{
    if (isRunning()) {
        m_process.kill();
        m_process.waitForFinished(timeout);
    }
}

void ServerUnderTest::setPath(const QString& path)
{
    setVariable(QStringLiteral("PATH"), path);
}

void ServerUnderTest::setStateFolder(const QString& path)
{
    setVariable(QStringLiteral("XDG_STATE_HOME"), path);
}

void ServerUnderTest::setRuntimeFolder(const QString& path)
{
    setVariable(QStringLiteral("XDG_RUNTIME_DIR"), path);
}

QString ServerUnderTest::runtimeFolder() const
{
    return m_process.processEnvironment().value(QStringLiteral("XDG_RUNTIME_DIR"));
}

void ServerUnderTest::setSystemRoot(const QString& path)
{
    setVariable(QStringLiteral("WINGBELL_SYSTEM_ROOT"), path);
}

void ServerUnderTest::setSharedFolder(const QString& path)
{
    setVariable(QStringLiteral("WINGBELL_SHARED_STATE"), path);
}

void ServerUnderTest::setVariable(const QString& name, const QString& value)
{
    QProcessEnvironment environment = m_process.processEnvironment();
    environment.insert(name, value);
    m_process.setProcessEnvironment(environment);
}

void ServerUnderTest::setSystemBus(const QByteArray& address)
{
    setVariable(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), QString::fromUtf8(address));
}

void ServerUnderTest::setWithoutPriority(const QByteArray& busAddress)
{
    m_tellsPriority = true;
    setSystemBus(busAddress);
    m_process.setChildProcessModifier([] {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::prctl(PR_CAPBSET_DROP, CAP_SYS_NICE, 0, 0, 0);
        const rlimit none = {};
        ::setrlimit(RLIMIT_RTPRIO, &none);
    });
}

void ServerUnderTest::setWithoutLandlock()
{
    m_process.setChildProcessModifier([] {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        wingbell::behaveAsAnOldKernel(false, true);
    });
}

QString ServerUnderTest::stateFolder() const
{
    return m_process.processEnvironment().value(QStringLiteral("XDG_STATE_HOME"));
}

bool ServerUnderTest::start(const QStringList& arguments, const QString& program)
{
    m_process.start(program.isEmpty() ? QStringLiteral(WINGBELL_SERVER) : program, arguments);
    return m_process.waitForStarted(timeout);
}

std::optional<QString> ServerUnderTest::nextLine()
{
    const QDeadlineTimer deadline(timeout);
    for (;;) {
        m_unread += m_process.readAllStandardOutput();
        const qsizetype end = m_unread.indexOf('\n');
        if (end >= 0) {
            const QString line = QString::fromUtf8(m_unread.left(end));
            m_unread.remove(0, end + 1);
            if (!m_tellsPriority && line == wingbell::messageText(wingbell::Message::NoRealTime)) {
                continue;
            }
            return line;
        }
        const int left = static_cast<int>(deadline.remainingTime());
        if (left <= 0 || !m_process.waitForReadyRead(left)) {
            m_unread += m_process.readAllStandardOutput();
            if (!m_unread.contains('\n')) {
                return std::nullopt;
            }
        }
    }
}

QStringList ServerUnderTest::linesThrough(const QString& last)
{
    QStringList lines;
    while (const auto line = nextLine()) {
        lines.append(*line);
        if (line->contains(last)) {
            break;
        }
    }
    return lines;
}

void ServerUnderTest::signal(int number) const
{
    ::kill(static_cast<pid_t>(m_process.processId()), number);
}

std::optional<ServerUnderTest::End> ServerUnderTest::waitForEnd()
{
    if (isRunning() && !m_process.waitForFinished(timeout)) {
        return std::nullopt;
    }
    return End{m_process.exitStatus() == QProcess::CrashExit, m_process.exitCode()};
}

QStringList ServerUnderTest::remainingLines()
{
    QStringList lines;
    while (const auto line = nextLine()) {
        lines.append(*line);
    }
    return lines;
}

QString ServerUnderTest::errorText()
{
    return QString::fromUtf8(m_process.readAllStandardError());
}
