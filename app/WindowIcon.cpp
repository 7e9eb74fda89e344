#include "app/WindowIcon.h"

#include <QSize>
#include <QString>

namespace wingbell {

QIcon windowIcon()
{
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 64}) {
        icon.addFile(
            QStringLiteral(":/wingbell/icons/wingbell-control-%1.png").arg(size),
            QSize(size, size));
    }
    return icon;
}

} // namespace wingbell
