#include "relay/speech/SpeechVoice.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace wingbell {

namespace {

bool isLetter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

char lowered(char letter)
{
    return letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

} // namespace

std::string voiceForLocale(std::string_view locale)
{
    const std::string_view language = locale.substr(0, locale.find_first_of("_.@"));
    // Languages have two or three letters; "POSIX" and "C" are none. Anything else must not reach
    // a command line.
    if (language.size() < 2 || language.size() > 3 ||
        !std::all_of(language.begin(), language.end(), isLetter)) {
        return std::string(englishVoice);
    }
    std::string voice(language);
    std::transform(voice.begin(), voice.end(), voice.begin(), lowered);
    return voice;
}

std::string systemVoice()
{
    for (const char* const name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* const locale = std::getenv(name);
        if (locale != nullptr && *locale != '\0') {
            return voiceForLocale(locale);
        }
    }
    return std::string(englishVoice);
}

} // namespace wingbell
