#include "tests/bus/PrivateBus.h"

#include <QDir>
#include <QFile>

#include <csignal>
#include <sys/prctl.h>

namespace wingbell {

namespace {

constexpr int longEnough = 30000; // milliseconds

bool write(const QString& path, const QString& text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) >= 0;
}

} // namespace

void dieWithTheTest(QProcess& process)
{
    process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
}

PrivateBus::PrivateBus()
{
    if (!writeConfiguration()) {
        return;
    }
    dieWithTheTest(m_daemon);
    m_daemon.start(
        QStringLiteral("dbus-daemon"),
        {QStringLiteral("--nofork"), QStringLiteral("--print-address"),
         QStringLiteral("--config-file=") + m_directory.filePath(QStringLiteral("bus.conf"))});
    m_daemon.waitForReadyRead(longEnough); // the address, once it listens
}

PrivateBus::~PrivateBus()
{
    stop();
}

QByteArray PrivateBus::address() const
{
    return "unix:path=" + QFile::encodeName(m_directory.filePath(QStringLiteral("bus")));
}

bool PrivateBus::writeConfiguration() const
{
    const QString configuration = QString::fromUtf8(R"(<busconfig>
  <type>session</type>
  <listen>%1</listen>
  <auth>EXTERNAL</auth>
  <servicedir>%2</servicedir>
  <policy context="default">
    <allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/>
  </policy>
</busconfig>
)");
    const QString services = m_directory.filePath(QStringLiteral("services"));
    return QDir().mkpath(services) &&
           write(
               m_directory.filePath(QStringLiteral("bus.conf")),
               configuration.arg(QString::fromUtf8(address()), services));
}

bool PrivateBus::addLaunchable(const QString& name, const QString& command)
{
    const QString text = QStringLiteral("[D-BUS Service]\nName=%1\nExec=/bin/sh -c \"%2\"\n");
    return write(
        m_directory.filePath(QStringLiteral("services/") + name + QStringLiteral(".service")),
        text.arg(name, command));
}

void PrivateBus::stop()
{
    m_daemon.kill();
    m_daemon.waitForFinished(longEnough);
}

} // namespace wingbell
