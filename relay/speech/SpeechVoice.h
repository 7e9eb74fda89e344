#pragma once

#include <string>
#include <string_view>

namespace wingbell {

/// The voice to speak with where no other one is known or to be had.
inline constexpr std::string_view englishVoice = "en";

/// The voice for the system's `locale`: its language, "de" for "de_DE.UTF-8"; English for none, for
/// "C" and for whatever is no locale.
[[nodiscard]] std::string voiceForLocale(std::string_view locale);

/// The voice for the language in which the system shows messages, from its environment.
[[nodiscard]] std::string systemVoice();

} // namespace wingbell
