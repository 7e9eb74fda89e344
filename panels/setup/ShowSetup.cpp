#include "panels/setup/ShowSetup.h"

#include <QTimer>

#include <algorithm>
#include <chrono>
#include <utility>

namespace wingbell {

std::optional<qint64> ShowSetup::oscPortFromText(QStringView text)
{
    const QStringView digits = text.startsWith(u'+') ? text.sliced(1) : text;
    const bool isNumber = std::all_of(digits.begin(), digits.end(), [](QChar character) {
        return character >= u'0' && character <= u'9';
    });
    const uint port = digits.toUInt(); // 0 where it is too large
    constexpr uint maxPort = 65535;
    return isNumber && port > 0 && port <= maxPort ? std::optional<qint64>(port) : std::nullopt;
}

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
    return m_config ? QString::number(m_config->oscPort()) : QString();
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

void ShowSetup::savePressed()
{
    setJustSaved(true);
    constexpr std::chrono::milliseconds moment{1400};
    QTimer::singleShot(moment, Qt::PreciseTimer, this, [this] { setJustSaved(false); });
}

void ShowSetup::setJustSaved(bool justSaved)
{
    if (m_justSaved == justSaved) {
        return;
    }
    m_justSaved = justSaved;
    Q_EMIT justSavedChanged();
}

} // namespace wingbell
