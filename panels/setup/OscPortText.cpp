#include "panels/setup/OscPortText.h"

#include <algorithm>

namespace wingbell {

namespace {

constexpr qint64 highestPort = 65535;

bool isAsciiDigit(QChar character)
{
    return character >= u'0' && character <= u'9';
}

} // namespace

std::optional<qint64> oscPortFromText(QStringView text)
{
    const bool negative = text.startsWith(u'-');
    const QStringView digits = negative || text.startsWith(u'+') ? text.sliced(1) : text;
    if (digits.isEmpty() || !std::all_of(digits.begin(), digits.end(), isAsciiDigit)) {
        return std::nullopt;
    }
    qint64 port = 0;
    for (const QChar digit : digits) {
        port = port * 10 + (digit.unicode() - u'0');
        if (port > highestPort) {
            return std::nullopt;
        }
    }
    if (port == 0 || negative) {
        return std::nullopt;
    }
    return port;
}

QString textOfOscPort(qint64 port)
{
    return QString::number(port);
}

} // namespace wingbell
