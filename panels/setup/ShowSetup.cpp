#include "panels/setup/ShowSetup.h"

#include "panels/setup/OscPortText.h"

#include <utility>

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
    // Before this object: an edit that a rebuild causes is a step after the one that it follows.
    m_history.setConfig(config);
    if (m_config) {
        connect(m_config, &ShowConfig::showChanged, this, [this] { m_isRenamed = true; });
        connect(m_config, &ShowConfig::operationDone, this, &ShowSetup::handleOperation);
        connect(
            m_config, &ShowConfig::hasUnsavedChangesChanged, this, &ShowSetup::updateNeedsRestart);
    }
    updateNeedsRestart();
    Q_EMIT configChanged();
    Q_EMIT rebuilt();
}

void ShowSetup::handleOperation()
{
    // Not before: a load clears the mark at its end.
    if (std::exchange(m_isRenamed, false)) {
        m_config->setHasUnsavedChanges(true);
    }
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
    Q_EMIT rebuilt();
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

QString ShowSetup::oscPortBinding() const
{
    return m_config ? textOfOscPort(m_config->oscPort()) : QString();
}

void ShowSetup::setOscPortBinding(const QString& text)
{
    const std::optional<qint64> port = oscPortFromText(text);
    if (!port || m_config.isNull()) {
        return;
    }
    m_config->setOscPort(*port);
    m_config->setHasUnsavedChanges(true);
    Q_EMIT rebuilt(); // also where the port is written in another way than it was
}

} // namespace wingbell
