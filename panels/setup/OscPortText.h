#pragma once

#include <QString>
#include <QStringView>

#include <optional>

namespace wingbell {

/// The port that `text` enters: a whole decimal number from 1 to 65535, leading zeros and one sign
/// allowed, nothing around it. Nothing for any other text.
[[nodiscard]] std::optional<qint64> oscPortFromText(QStringView text);

/// The port as the field shows it: digits alone, a minus before a negative one.
[[nodiscard]] QString textOfOscPort(qint64 port);

} // namespace wingbell
