#include "server/OutputLines.h"

#include "base/Utf8.h"

namespace wingbell {

std::optional<QStringList> linesOfChunk(QByteArrayView chunk)
{
    const std::optional<QString> text = textIfUtf8(chunk);
    if (!text) {
        return std::nullopt;
    }
    QStringList lines;
    const QStringView all = *text;
    qsizetype begin = 0;
    const auto takeUntil = [&](qsizetype end) {
        if (end > begin) {
            lines.append(all.sliced(begin, end - begin).toString());
        }
        begin = end + 1;
    };
    for (qsizetype at = all.indexOf(u'\n'); at >= 0; at = all.indexOf(u'\n', at + 1)) {
        if (at == 0 || all.at(at - 1) != u'\r') {
            takeUntil(at);
        }
    }
    takeUntil(all.size());
    return lines;
}

} // namespace wingbell
