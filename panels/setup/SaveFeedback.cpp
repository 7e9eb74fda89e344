#include "panels/setup/SaveFeedback.h"

#include <QTimer>

#include <chrono>

namespace wingbell {

void SaveFeedback::savePressed()
{
    setJustSaved(true);
    constexpr std::chrono::milliseconds moment{1400};
    QTimer::singleShot(moment, Qt::PreciseTimer, this, [this] { setJustSaved(false); });
}

void SaveFeedback::setJustSaved(bool justSaved)
{
    if (m_justSaved == justSaved) {
        return;
    }
    m_justSaved = justSaved;
    Q_EMIT justSavedChanged();
}

} // namespace wingbell
