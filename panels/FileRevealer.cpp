#include "panels/FileRevealer.h"

#include "server/BusConnection.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QUrl>

#include <utility>

namespace wingbell {

namespace {

BusCall showItem(const QString& path)
{
    const QString address = QString::fromLatin1(QUrl::fromLocalFile(path).toEncoded());
    return {
        .service = QStringLiteral("org.freedesktop.FileManager1"),
        .path = QStringLiteral("/org/freedesktop/FileManager1"),
        .interface = QStringLiteral("org.freedesktop.FileManager1"),
        .method = QStringLiteral("ShowItems"),
        .arguments = {QStringList{address}, QString()},
        .mayStartService = true,
    };
}

void openByDesktop(const QString& folder)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
}

} // namespace

FileRevealer::FileRevealer(QObject* parent)
    : FileRevealer(openByDesktop, parent)
{
}

FileRevealer::FileRevealer(FolderOpener openFolder, QObject* parent)
    : QObject(parent)
    , m_openFolder(std::move(openFolder))
{
}

FileRevealer::~FileRevealer() = default;

void FileRevealer::reveal(const QString& path)
{
    const QString nearest = nearestFolder(path);
    if (nearest != QFileInfo(path).absolutePath()) {
        m_openFolder(nearest); // a file manager would show an error instead
        return;
    }
    constexpr std::chrono::seconds patience{5};
    m_bus = std::make_unique<BusConnection>(BusConnection::Bus::Session, patience);
    m_bus->call(showItem(path), [this, nearest](const BusMessage& answer) {
        m_bus.reset();
        if (answer.isError()) {
            m_openFolder(nearest);
        }
    });
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
