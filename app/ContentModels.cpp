#include "app/ContentModels.h"

namespace wingbell {

ContentModels::ContentModels(QObject* parent)
    : ContentModels(ShowConfig::configDirectory(), parent)
{
}

ContentModels::ContentModels(const QDir& directory, QObject* parent)
    : QObject(parent)
    , m_config(directory)
{
}

void ContentModels::viewShown()
{
    if (m_server) {
        return;
    }
    m_server = std::make_unique<ServerController>(m_config);
    Q_EMIT serverChanged();
}

} // namespace wingbell
