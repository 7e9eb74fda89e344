#include "app/ContentModels.h"

#include "desktop/DesktopSleepInhibitor.h"

#include <QCoreApplication>
#include <QDir>

namespace wingbell {

namespace {

/// One for the whole run and never destroyed: what it holds at the end goes with the process.
SleepInhibitor& programsSleepInhibitor()
{
    static auto* const inhibitor = new DesktopSleepInhibitor;
    return *inhibitor;
}

} // namespace

ContentModels::ContentModels(QObject* parent)
    : ContentModels(ShowConfig::configDirectory(), parent)
{
}

ContentModels::ContentModels(const QDir& directory, QObject* parent)
    : QObject(parent)
    , m_config(directory)
{
}

QUrl ContentModels::guide()
{
    const QDir programs(QCoreApplication::applicationDirPath());
    return QUrl::fromLocalFile(QDir::cleanPath(
        programs.filePath(QStringLiteral("../share/doc/wingbell-control/guide/guide.html"))));
}

void ContentModels::viewShown()
{
    if (m_server) {
        return;
    }
    m_server = std::make_unique<ServerController>(m_config, programsSleepInhibitor());
    Q_EMIT serverChanged();
}

} // namespace wingbell
