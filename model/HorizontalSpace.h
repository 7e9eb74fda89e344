#pragma once

#include <QString>
#include <QStringView>

namespace wingbell {

/// `text` without the tabs and Unicode space separators at both ends. Line breaks are no horizontal
/// space: they stay, and so does all that stands inside them.
[[nodiscard]] QString trimmedOfHorizontalSpace(QStringView text);

} // namespace wingbell
