#pragma once

#include <QObject>
#include <QString>

#include <functional>
#include <memory>

namespace wingbell {

class BusConnection;

/// Shows a file in the desktop's file manager.
class FileRevealer : public QObject
{
    Q_OBJECT

public:
    /// Opens a folder in whatever the desktop opens folders with.
    using FolderOpener = std::function<void(const QString& folder)>;

    explicit FileRevealer(QObject* parent = nullptr);
    /// One that opens folders by other means.
    explicit FileRevealer(FolderOpener openFolder, QObject* parent = nullptr);
    ~FileRevealer() override;
    Q_DISABLE_COPY_MOVE(FileRevealer)

    /// Asks the file manager for a window with that one file selected, whether it exists or not.
    /// Where its folder is missing, or the file manager wants no missing file, the nearest folder
    /// that exists is asked for; where no file manager answers within 5 seconds, the desktop opens
    /// that folder by its own means. Returns at once; a failure is not told. Does nothing while an
    /// earlier request is unanswered.
    Q_INVOKABLE void reveal(const QString& path);

    /// The nearest folder above `path` that exists.
    [[nodiscard]] static QString nearestFolder(const QString& path);

private:
    void showItem(const QString& path, const QString& folder);
    void showFolder(const QString& folder);
    void giveUp(const QString& folder);

    FolderOpener m_openFolder;
    std::unique_ptr<BusConnection> m_bus; ///< while a request is unanswered
};

} // namespace wingbell
