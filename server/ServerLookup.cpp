#include "server/ServerLookup.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace wingbell {

std::optional<QString> embeddedServer(const QString& executableFolder)
{
    const QString path = QDir::cleanPath(
        executableFolder + QStringLiteral("/../libexec/wingbell-control/IntercomServer"));
    if (!QFileInfo(path).isFile()) {
        return std::nullopt;
    }
    return path;
}

std::optional<QString> embeddedServer()
{
    return embeddedServer(QCoreApplication::applicationDirPath());
}

} // namespace wingbell
