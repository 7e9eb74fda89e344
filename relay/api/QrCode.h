#pragma once

#include <QByteArray>

#include <optional>

namespace wingbell {

/// A QR code as SVG path data.
struct QrCode
{
    int size = 0;    ///< modules a side, without the quiet zone
    QByteArray path; ///< fills the dark modules; a module is 1 by 1, the first begins at 0 0

    friend bool operator==(const QrCode&, const QrCode&) = default;
};

/// The code for `text`, readable with up to 15 % of it spoiled. Nothing when `text` is empty, holds
/// a zero byte or does not fit into the largest code (2331 bytes).
[[nodiscard]] std::optional<QrCode> qrCode(const QByteArray& text);

} // namespace wingbell
