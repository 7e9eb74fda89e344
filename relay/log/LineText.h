#pragma once

#include <QString>
#include <QStringView>

namespace wingbell {

/// How many characters (code points) of a name a line shows.
inline constexpr qsizetype longestShownName = 100;

/// `text` fit to stand inside one line: line breaks and tabs become spaces. Other control
/// characters and all that is invisible (format characters such as those that turn the direction
/// of writing, characters of no width, tags) become U+FFFD: no two different texts look the same
/// and nothing hides in one. Only the joiner inside an emoji stays.
[[nodiscard]] QString onOneLine(QStringView text);

/// At most the first `count` code points of `text`, and no part of a character as a person sees it,
/// unless that alone is longer.
[[nodiscard]] QStringView firstCharacters(QStringView text, qsizetype count);

/// `text` in quotation marks, shortened to `longest` code points.
[[nodiscard]] QString quoted(QStringView text, qsizetype longest = longestShownName);

/// True when `text` holds nothing to see or to say: only spaces, controls and invisible characters.
[[nodiscard]] bool isBlank(QStringView text);

} // namespace wingbell
