#include "panels/FileRevealer.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QUrl>

namespace wingbell {

void FileRevealer::reveal(const QString& path)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(nearestFolder(path)));
}

QString FileRevealer::nearestFolder(const QString& path)
{
    QString folder = QFileInfo(path).absolutePath();
    while (!QFileInfo(folder).isDir() && folder != QDir::rootPath()) {
        folder = QFileInfo(folder).absolutePath();
    }
    return folder;
}

} // namespace wingbell
