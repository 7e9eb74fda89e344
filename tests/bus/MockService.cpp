#include "tests/bus/MockService.h"

namespace wingbell {

namespace {

constexpr int longEnough = 30000; // milliseconds

} // namespace

MockService::MockService(const PrivateBus& bus, const QString& service, const QStringList& options)
{
    const QStringList arguments = {
        QStringLiteral(WINGBELL_FIXTURES "/bus_service.py"), QStringLiteral("--bus"),
        QString::fromUtf8(bus.address()), service};
    dieWithTheTest(m_process);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QStringLiteral("/usr/bin/python3"), arguments + options);
    while (!m_process.canReadLine()) {
        if (!m_process.waitForReadyRead(longEnough)) {
            return;
        }
    }
    m_process.readLine(); // it says that it is ready
}

MockService::~MockService()
{
    kill();
}

const QStringList& MockService::log()
{
    while (m_process.canReadLine()) {
        m_log.append(QString::fromUtf8(m_process.readLine()).trimmed());
    }
    return m_log;
}

void MockService::answer()
{
    m_process.write("answer\n");
}

const QStringList& MockService::finish()
{
    m_process.closeWriteChannel();
    m_process.waitForFinished(longEnough);
    return log();
}

void MockService::kill()
{
    m_process.kill();
    m_process.waitForFinished(longEnough);
}

} // namespace wingbell
