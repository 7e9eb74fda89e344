#pragma once

#include <QObject>
#include <QQmlEngine>
#include <QString>

namespace wingbell {

/// Shows a file in the desktop's file manager.
class FileRevealer : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    /// Asks the file manager for a window with that one file selected, whether it exists or not.
    /// Where none answers, the nearest folder that exists is opened. Returns at once; a failure is
    /// not told.
    Q_INVOKABLE void reveal(const QString& path);

    /// The nearest folder above `path` that exists.
    [[nodiscard]] static QString nearestFolder(const QString& path);
};

} // namespace wingbell
