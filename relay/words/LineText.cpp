#include "relay/words/LineText.h"

#include <QChar>
#include <QList>
#include <QTextBoundaryFinder>

#include <algorithm>

namespace wingbell {

namespace {

bool breaksLine(char32_t character)
{
    return (character >= U'\t' && character <= U'\r') || character == 0x85 || character == 0x2028 ||
           character == 0x2029;
}

/// The marks, embeddings, overrides and isolates with which a text reorders what stands around it.
bool turnsDirection(char32_t character)
{
    return character == 0x061C || character == 0x200E || character == 0x200F ||
           (character >= 0x202A && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069);
}

QChar onOneLine(QChar character)
{
    if (breaksLine(character.unicode())) {
        return QLatin1Char(' ');
    }
    if (character.category() == QChar::Other_Control || turnsDirection(character.unicode())) {
        return QChar::ReplacementCharacter;
    }
    return character;
}

/// How many code units the code point at `at` takes.
qsizetype unitsAt(QStringView text, qsizetype at)
{
    const bool pair =
        text.at(at).isHighSurrogate() && at + 1 < text.size() && text.at(at + 1).isLowSurrogate();
    return pair ? 2 : 1;
}

} // namespace

QString onOneLine(QStringView text)
{
    QString line = text.toString();
    for (QChar& character : line) {
        character = onOneLine(character);
    }
    return line;
}

QStringView firstCharacters(QStringView text, qsizetype count)
{
    qsizetype end = 0;
    for (qsizetype taken = 0; taken < count && end < text.size(); ++taken) {
        end += unitsAt(text, end);
    }
    if (end == text.size()) {
        return text;
    }
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    finder.setPosition(end);
    if (finder.isAtBoundary()) {
        return text.first(end);
    }
    const qsizetype before = finder.toPreviousBoundary();
    return text.first(before > 0 ? before : end);
}

QString quoted(QStringView text, qsizetype longest)
{
    const QStringView shown = firstCharacters(text, longest);
    const QString rest = shown.size() < text.size() ? QStringLiteral("…") : QString();
    return QLatin1Char('"') + shown.toString() + rest + QLatin1Char('"');
}

bool isBlank(QStringView text)
{
    const QList<uint> characters = text.toUcs4();
    return std::all_of(characters.begin(), characters.end(), [](uint character) {
        const QChar::Category category = QChar::category(character);
        return category == QChar::Other_Control || category == QChar::Other_Format ||
               QChar::isSpace(character);
    });
}

} // namespace wingbell
