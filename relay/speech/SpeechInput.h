#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace wingbell {

// What a speech program is given: a text on its standard input, and a voice.

/// How much of a text is given to a speech program, in bytes.
inline constexpr std::size_t maxSpeakableText = 4096;

/// Sanitizes `text`, UTF-8 or not, for a speech program: one line of valid UTF-8 without control
/// characters (they can be commands) and without the brackets that turn what they enclose into
/// phonemes; a space stands for each. Cut to `maxSpeakableText` at a character boundary, without
/// spaces around it; empty if nothing is left.
[[nodiscard]] std::string speakableText(std::string_view text);

/// The voice to speak with if no other is known or installed.
inline constexpr std::string_view englishVoice = "en";

/// The voice for the system's `locale`: its language, "de" for "de_DE.UTF-8". English if it is
/// empty, "C", or not a locale.
[[nodiscard]] std::string voiceForLocale(std::string_view locale);

/// The voice for the language in which the system shows messages, from its environment.
[[nodiscard]] std::string systemVoice();

} // namespace wingbell
