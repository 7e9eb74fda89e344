#pragma once

#include "model/ShowConfig.h"
#include "server/ServerController.h"

#include <QObject>
#include <QQmlEngine>
#include <QUrl>

#include <memory>

namespace wingbell {

/// The two models that the window's view owns: the store, loaded at creation, and the controller,
/// which comes with the view's first showing. Nothing is started by itself and nothing stopped at
/// the end.
class ContentModels : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(wingbell::ShowConfig* config READ config CONSTANT)
    Q_PROPERTY(wingbell::ServerController* server READ server NOTIFY serverChanged)
    Q_PROPERTY(QString showFile READ showFile CONSTANT)
    Q_PROPERTY(QUrl guide READ guide CONSTANT)

public:
    /// Models over the show of this machine.
    explicit ContentModels(QObject* parent = nullptr);
    /// Models over the show in another directory.
    explicit ContentModels(const QDir& directory, QObject* parent = nullptr);

    [[nodiscard]] ShowConfig* config() { return &m_config; }
    /// Null until the view was first shown, the same from then on.
    [[nodiscard]] ServerController* server() const { return m_server.get(); }
    /// Path of the file that the server reads.
    [[nodiscard]] static QString showFile() { return ShowConfig::documentPath(); }

    /// The guide's first page, which is installed with the program.
    [[nodiscard]] static QUrl guide();

    /// To be called whenever the view is shown; only the first time makes a difference.
    Q_INVOKABLE void viewShown();

Q_SIGNALS:
    void serverChanged();

private:
    ShowConfig m_config;
    std::unique_ptr<ServerController> m_server;
};

} // namespace wingbell
