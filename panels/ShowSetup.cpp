#include "panels/ShowSetup.h"

#include "panels/OscPortText.h"

namespace wingbell {

void ShowSetup::setConfig(ShowConfig* config)
{
    if (m_config == config) {
        return;
    }
    if (m_config) {
        disconnect(m_config, nullptr, this, nullptr);
    }
    m_config = config;
    if (m_config) {
        // Views are told of a change after the operation that made it, so a load has cleared its
        // flag by the time the new name marks the edit.
        connect(
            m_config, &ShowConfig::showChanged, this,
            [this] {
                if (m_config) {
                    m_config->setHasUnsavedChanges(true);
                }
            },
            Qt::QueuedConnection);
        connect(
            m_config, &ShowConfig::hasUnsavedChangesChanged, this, &ShowSetup::updateNeedsRestart);
        connect(m_config, &ShowConfig::showChanged, this, &ShowSetup::rebuilt);
        connect(m_config, &ShowConfig::rolesChanged, this, &ShowSetup::rebuilt);
        connect(m_config, &ShowConfig::oscPortChanged, this, &ShowSetup::rebuilt);
        connect(m_config, &ShowConfig::hasUnsavedChangesChanged, this, &ShowSetup::rebuilt);
    }
    updateNeedsRestart();
    Q_EMIT configChanged();
    Q_EMIT rebuilt();
}

void ShowSetup::setServerIsRunning(bool running)
{
    if (m_serverIsRunning == running) {
        return;
    }
    m_serverIsRunning = running;
    Q_EMIT serverIsRunningChanged();
    updateNeedsRestart();
}

void ShowSetup::updateNeedsRestart()
{
    const bool needsRestart = m_serverIsRunning && m_config && m_config->hasUnsavedChanges();
    if (m_needsRestart == needsRestart) {
        return;
    }
    m_needsRestart = needsRestart;
    Q_EMIT needsRestartChanged();
}

QString ShowSetup::oscPortText() const
{
    return m_config ? textOfOscPort(m_config->oscPort()) : QString();
}

void ShowSetup::enterOscPort(const QString& text)
{
    const std::optional<qint64> port = oscPortFromText(text);
    if (!port || m_config.isNull()) {
        return;
    }
    m_config->setOscPort(*port);
    m_config->setHasUnsavedChanges(true);
}

} // namespace wingbell
