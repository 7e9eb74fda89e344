#include "server/ServerProcess.h"
#include "tests/fuzz/Check.h"

#include <QUtf8StringView>

#include <cstddef>
#include <cstdint>

using namespace wingbell;

namespace {

/// The same rule told in another way, byte by byte: a line feed ends a line unless a carriage
/// return stands right before it.
QByteArrayList linesByBytes(QByteArrayView chunk)
{
    QByteArrayList lines;
    QByteArray line;
    char before = 0;
    for (const char byte : chunk) {
        if (byte == '\n' && before != '\r') {
            lines.append(line);
            line.clear();
        } else {
            line.append(byte);
        }
        before = byte;
    }
    lines.append(line);
    lines.removeAll(QByteArray());
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArrayView chunk(data, static_cast<qsizetype>(size));
    const std::optional<QStringList> lines = linesOfChunk(chunk);
    check(
        lines.has_value() == QUtf8StringView(chunk).isValidUtf8(),
        "a chunk is dropped when it is no text, and only then");
    if (!lines) {
        return 0;
    }
    QByteArrayList bytes;
    for (const QString& line : *lines) {
        bytes.append(line.toUtf8());
    }
    check(bytes == linesByBytes(chunk), "the lines are the chunk's, to the byte");
    return 0;
}
