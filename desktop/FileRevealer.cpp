#include "desktop/FileRevealer.h"

#include "bus/BusConnection.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QUrl>

#include <utility>

namespace wingbell {

namespace {

/// Asks the desktop's file manager, launched if need be, to do that with one file or folder.
BusCall fileManagerCall(const QString& method, const QString& path)
{
    const QString address = QString::fromLatin1(QUrl::fromLocalFile(path).toEncoded());
    return {
        .service = QStringLiteral("org.freedesktop.FileManager1"),
        .path = QStringLiteral("/org/freedesktop/FileManager1"),
        .interface = QStringLiteral("org.freedesktop.FileManager1"),
        .method = method,
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
    if (m_bus) {
        return; // asking again would only put off what is done without an answer
    }
    constexpr std::chrono::seconds timeout{5};
    m_bus = std::make_unique<BusConnection>(BusConnection::Bus::Session, timeout);
    const QString nearest = nearestFolder(path);
    if (nearest == QFileInfo(path).absolutePath()) {
        showItem(path, nearest);
    } else {
        showFolder(nearest); // some file managers would show an error instead
    }
}

void FileRevealer::showItem(const QString& path, const QString& folder)
{
    const BusCall call = fileManagerCall(QStringLiteral("ShowItems"), path);
    m_bus->call(call, [this, folder](const BusMessage& answer) {
        if (!answer.isValid()) {
            giveUp(folder);
        } else if (answer.isError()) {
            showFolder(folder); // some refuse a file that does not exist
        } else {
            m_bus.reset();
        }
    });
}

void FileRevealer::showFolder(const QString& folder)
{
    const BusCall call = fileManagerCall(QStringLiteral("ShowFolders"), folder);
    m_bus->call(call, [this, folder](const BusMessage& answer) {
        if (answer.isError()) {
            giveUp(folder);
        } else {
            m_bus.reset();
        }
    });
}

void FileRevealer::giveUp(const QString& folder)
{
    m_bus.reset();
    m_openFolder(folder);
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
