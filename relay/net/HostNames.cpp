#include "relay/net/HostNames.h"

#include <QHostAddress>

#include <algorithm>

namespace wingbell {

namespace {

bool isLabel(const QString& label)
{
    constexpr qsizetype longestLabel = 63;
    return !label.isEmpty() && label.size() <= longestLabel &&
           !label.startsWith(QLatin1Char('-')) && !label.endsWith(QLatin1Char('-')) &&
           std::all_of(label.begin(), label.end(), [](QChar character) {
               const char16_t unit = character.unicode();
               return (unit >= u'a' && unit <= u'z') || (unit >= u'0' && unit <= u'9') ||
                      unit == u'-';
           });
}

/// QHostAddress alone would also take shorter forms: 5 as 0.0.0.5.
bool isIpv4Address(const QString& name)
{
    return name.count(QLatin1Char('.')) == 3 && !QHostAddress(name).isNull();
}

bool isHostName(const QString& name)
{
    constexpr qsizetype longestName = 253;
    const QStringList labels = name.split(QLatin1Char('.'));
    return name.size() <= longestName && std::all_of(labels.begin(), labels.end(), isLabel) &&
           !isIpv4Address(name);
}

} // namespace

QStringList hostNames(const QString& hostName)
{
    const QString name = hostName.toLower();
    if (!isHostName(name)) {
        return {};
    }
    const QString local = name.section(QLatin1Char('.'), 0, 0) + QStringLiteral(".local");
    QStringList names = {name, local};
    names.removeAll(QStringLiteral("localhost"));
    names.removeAll(QStringLiteral("localhost.local"));
    names.removeDuplicates();
    return names;
}

} // namespace wingbell
