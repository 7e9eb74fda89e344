#include "relay/speech/SpeechInput.h"

#include "base/LineText.h"

#include <QChar>
#include <QString>

#include <algorithm>
#include <cstdlib>

namespace wingbell {

namespace {

bool isUnspeakable(QChar character)
{
    return character.category() == QChar::Other_Control ||
           character.category() == QChar::Separator_Line ||
           character.category() == QChar::Separator_Paragraph ||
           character == QChar::ReplacementCharacter || character == QLatin1Char('[') ||
           character == QLatin1Char(']');
}

bool isLetter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

} // namespace

std::string speakableText(std::string_view text)
{
    const QByteArrayView bytes(text.data(), static_cast<qsizetype>(text.size()));
    QString line = QString::fromUtf8(firstBytes(bytes, maxSpeakableText));
    std::replace_if(line.begin(), line.end(), isUnspeakable, QChar(QLatin1Char(' ')));
    return line.trimmed().toStdString();
}

std::string voiceForLocale(std::string_view locale)
{
    const std::string_view language = locale.substr(0, locale.find_first_of("_.@"));
    // Languages have two or three letters; "POSIX" and "C" are none. Anything else must not reach
    // a command line.
    if (language.size() < 2 || language.size() > 3 ||
        !std::all_of(language.begin(), language.end(), isLetter)) {
        return std::string(englishVoice);
    }
    return QString::fromLatin1(language.data(), static_cast<qsizetype>(language.size()))
        .toLower()
        .toStdString();
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
