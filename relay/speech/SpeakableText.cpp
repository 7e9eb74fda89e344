#include "relay/speech/SpeakableText.h"

#include <QChar>
#include <QString>
#include <QStringView>

#include <algorithm>

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

/// True for a byte that is not the first one of its character.
bool continuesCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

std::string_view firstBytes(std::string_view text, std::size_t most)
{
    if (text.size() <= most) {
        return text;
    }
    while (most > 0 && continuesCharacter(text.at(most))) {
        --most;
    }
    return text.substr(0, most);
}

} // namespace

std::string speakableText(std::string_view text)
{
    const std::string_view taken = firstBytes(text, longestSpeakableText);
    QString line = QString::fromUtf8(taken.data(), static_cast<qsizetype>(taken.size()));
    std::replace_if(line.begin(), line.end(), isUnspeakable, QChar(QLatin1Char(' ')));
    return line.trimmed().toStdString();
}

} // namespace wingbell
