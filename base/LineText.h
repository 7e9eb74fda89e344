#pragma once

#include <QByteArrayView>
#include <QString>
#include <QStringView>

#include <chrono>

namespace wingbell {

// Texts, often from outside, made fit for a line that a person reads.

/// How many characters (code points) of a name a line shows.
inline constexpr qsizetype maxShownName = 100;

/// Sanitizes `text` for one line: line breaks and tabs become spaces. Other control characters and
/// all that is invisible (format characters such as those that turn the direction of writing,
/// characters of no width, tags) become U+FFFD: no two different texts look the same and nothing
/// hides in one. Only the joiner inside an emoji stays.
[[nodiscard]] QString onOneLine(QStringView text);

/// At most the first `count` code points of `text`, and no part of a character as a person sees it,
/// unless that alone is longer.
[[nodiscard]] QStringView firstCharacters(QStringView text, qsizetype count);

/// At most the first `maxBytes` of `utf8`, cut at a character boundary.
[[nodiscard]] QByteArrayView firstBytes(QByteArrayView utf8, qsizetype maxBytes);

/// `text` in quotation marks, shortened to `maxShown` code points.
[[nodiscard]] QString quoted(QStringView text, qsizetype maxShown = maxShownName);

/// True when `text` holds nothing to see or to say: only spaces, controls and invisible characters.
[[nodiscard]] bool isBlank(QStringView text);

/// "3 minutes 12 seconds": hours, minutes and seconds without those that are 0, rounded down. Less
/// than a second, and anything negative, is "less than a second".
[[nodiscard]] QString durationInWords(std::chrono::milliseconds duration);

} // namespace wingbell
