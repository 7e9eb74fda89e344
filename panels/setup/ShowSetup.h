#pragma once

#include "model/ShowConfig.h"
#include "panels/setup/ShowHistory.h"

#include <QObject>
#include <QPointer>
#include <QQmlEngine>
#include <QStringView>

#include <optional>

namespace wingbell {

/// What the show setup panel decides beside the store: when an edit counts as one, which port texts
/// are taken, and when the restart warning stands.
class ShowSetup : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(wingbell::ShowConfig* config READ config WRITE setConfig NOTIFY configChanged)
    Q_PROPERTY(bool serverIsRunning READ serverIsRunning WRITE setServerIsRunning NOTIFY
                   serverIsRunningChanged)
    Q_PROPERTY(bool needsRestart READ needsRestart NOTIFY needsRestartChanged)
    Q_PROPERTY(wingbell::ShowHistory* history READ history CONSTANT)
    Q_PROPERTY(bool justSaved READ justSaved NOTIFY justSavedChanged)
    Q_PROPERTY(QString oscPortBinding READ oscPortBinding WRITE setOscPortBinding NOTIFY rebuilt)

public:
    /// The port that `text` enters: a whole decimal number from 1 to 65535, leading zeros and one
    /// sign allowed, nothing around it. Nothing for any other text.
    [[nodiscard]] static std::optional<qint64> oscPortFromText(QStringView text);

    using QObject::QObject;

    [[nodiscard]] ShowConfig* config() const { return m_config; }
    /// Watches that store from now on; not owned. From here on every change of the show's name
    /// marks an edit once the operation that made it is done: a reload that brings another name
    /// does so too.
    void setConfig(ShowConfig* config);

    [[nodiscard]] bool serverIsRunning() const { return m_serverIsRunning; }
    void setServerIsRunning(bool running);

    /// True while a server runs that has not got all edits.
    [[nodiscard]] bool needsRestart() const { return m_needsRestart; }

    /// Undo and redo of that store's edits.
    [[nodiscard]] ShowHistory* history() { return &m_history; }

    /// The stored port as the field shows it.
    [[nodiscard]] QString oscPortBinding() const;
    /// Stores the port that `text` enters and marks an edit, also for the port that is stored
    /// already; ignores text that is no port.
    void setOscPortBinding(const QString& text);

    /// Whether a save was pressed a moment ago. Each press ends the moment 1.4 seconds later, also
    /// one that a later press has started again.
    [[nodiscard]] bool justSaved() const { return m_justSaved; }
    Q_INVOKABLE void savePressed();

Q_SIGNALS:
    void configChanged();
    void serverIsRunningChanged();
    void needsRestartChanged();
    void justSavedChanged();
    /// Something that the panel shows may have changed: it has to be read again.
    void rebuilt();

private:
    void handleOperation();
    void updateNeedsRestart();
    void setJustSaved(bool justSaved);

    QPointer<ShowConfig> m_config;
    ShowHistory m_history;
    bool m_serverIsRunning = false;
    bool m_needsRestart = false;
    bool m_justSaved = false;
    bool m_isRenamed = false; ///< by the operation that is not done yet
};

} // namespace wingbell
