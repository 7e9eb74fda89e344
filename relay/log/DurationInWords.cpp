#include "relay/log/DurationInWords.h"

#include <QStringList>

namespace wingbell {

namespace {

void append(QStringList& parts, std::chrono::hours::rep count, const QString& unit)
{
    if (count > 0) {
        parts.append(
            QString::number(count) + QLatin1Char(' ') + unit +
            (count == 1 ? QString() : QStringLiteral("s")));
    }
}

} // namespace

QString durationInWords(std::chrono::milliseconds duration)
{
    using namespace std::chrono;
    if (duration < 1s) {
        return QStringLiteral("less than a second");
    }
    QStringList parts;
    append(parts, duration_cast<hours>(duration).count(), QStringLiteral("hour"));
    append(parts, duration_cast<minutes>(duration % 1h).count(), QStringLiteral("minute"));
    append(parts, duration_cast<seconds>(duration % 1min).count(), QStringLiteral("second"));
    return parts.join(QLatin1Char(' '));
}

} // namespace wingbell
