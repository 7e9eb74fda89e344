#include "base/Utf8.h"

#include <QUtf8StringView>

namespace wingbell {

QString textFromUtf8(QByteArrayView utf8)
{
    constexpr QByteArrayView mark("\xEF\xBB\xBF");
    if (!utf8.startsWith(mark)) {
        return QString::fromUtf8(utf8);
    }
    return QChar(QChar::ByteOrderMark) + textFromUtf8(utf8.sliced(mark.size()));
}

std::optional<QString> textIfUtf8(QByteArrayView bytes)
{
    if (!bytes.isValidUtf8()) {
        return std::nullopt;
    }
    return textFromUtf8(bytes);
}

} // namespace wingbell
