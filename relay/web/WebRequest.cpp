#include "relay/web/WebRequest.h"

#include <QList>

namespace wingbell {

namespace {

QByteArray decoded(QByteArrayView text)
{
    return QByteArray::fromPercentEncoding(text.toByteArray().replace('+', ' '));
}

} // namespace

std::optional<QByteArray> WebRequest::queryItem(QByteArrayView name) const
{
    for (const QByteArray& item : query.split('&')) {
        const qsizetype equals = item.indexOf('=');
        const qsizetype end = equals < 0 ? item.size() : equals;
        if (decoded(QByteArrayView(item).first(end)) == name) {
            return equals < 0 ? QByteArray() : decoded(QByteArrayView(item).sliced(equals + 1));
        }
    }
    return std::nullopt;
}

} // namespace wingbell
