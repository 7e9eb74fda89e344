#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace wingbell {

/// In bytes: how much of a text is given to a speech program.
inline constexpr std::size_t longestSpeakableText = 4096;

/// `text`, UTF-8 or not, as it may safely be given to a speech program: one line of valid UTF-8
/// without control characters (they can be commands) and without the brackets that turn what they
/// enclose into phonemes; a space stands for each. Cut to `longestSpeakableText`, never within a
/// character. Without spaces around it; empty when there is nothing left.
[[nodiscard]] std::string speakableText(std::string_view text);

} // namespace wingbell
