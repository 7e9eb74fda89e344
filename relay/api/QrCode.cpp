#include "relay/api/QrCode.h"

#include <QStringBuilder> // or adding bytes would move a pointer

#include <memory>
#include <qrencode.h>
#include <span>

namespace wingbell {

namespace {

struct FreeCode
{
    void operator()(QRcode* code) const { ::QRcode_free(code); }
};

/// Appends the runs of dark modules of a row, each as a rectangle.
void appendRow(QByteArray& path, std::span<const unsigned char> row, int y)
{
    const auto isDark = [&row](std::size_t x) {
        return x < row.size() && (row[x] & 1U) != 0;
    };
    for (std::size_t x = 0; x < row.size(); ++x) {
        if (!isDark(x)) {
            continue;
        }
        std::size_t end = x;
        while (isDark(end)) {
            ++end;
        }
        const QByteArray length = QByteArray::number(static_cast<qulonglong>(end - x));
        path += 'M' + QByteArray::number(static_cast<qulonglong>(x)) + ' ' + QByteArray::number(y) +
                'h' + length + "v1h-" + length + 'z';
        x = end;
    }
}

} // namespace

std::optional<QrCode> qrCode(const QByteArray& text)
{
    if (text.isEmpty() || text.contains('\0')) {
        return std::nullopt;
    }
    constexpr int smallestThatFits = 0;
    constexpr int caseSensitive = 1;
    const std::unique_ptr<QRcode, FreeCode> code(::QRcode_encodeString(
        text.constData(), smallestThatFits, QR_ECLEVEL_M, QR_MODE_8, caseSensitive));
    if (!code) {
        return std::nullopt;
    }
    QrCode result = {code->width, {}};
    const auto width = static_cast<std::size_t>(code->width);
    const std::span<const unsigned char> modules(code->data, width * width);
    for (int y = 0; y < code->width; ++y) {
        appendRow(result.path, modules.subspan(static_cast<std::size_t>(y) * width, width), y);
    }
    return result;
}

} // namespace wingbell
