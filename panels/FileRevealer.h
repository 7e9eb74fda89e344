#pragma once

#include <QObject>
#include <QQmlEngine>
#include <QString>

#include <functional>
#include <memory>

namespace wingbell {

class BusConnection;

/// Shows a file in the desktop's file manager.
class FileRevealer : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    /// Opens a folder in whatever the desktop opens folders with.
    using FolderOpener = std::function<void(const QString& folder)>;

    explicit FileRevealer(QObject* parent = nullptr);
    /// One that opens folders by other means.
    explicit FileRevealer(FolderOpener openFolder, QObject* parent = nullptr);
    ~FileRevealer() override;
    Q_DISABLE_COPY_MOVE(FileRevealer)

    /// Asks the file manager for a window with that one file selected, whether it exists or not;
    /// where the folder is missing or no file manager answers within 5 seconds, has the nearest
    /// folder that exists opened. Returns at once; a failure is not told.
    Q_INVOKABLE void reveal(const QString& path);

    /// The nearest folder above `path` that exists.
    [[nodiscard]] static QString nearestFolder(const QString& path);

private:
    FolderOpener m_openFolder;
    std::unique_ptr<BusConnection> m_bus; ///< of the last request
};

} // namespace wingbell
