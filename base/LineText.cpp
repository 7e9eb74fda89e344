#include "base/LineText.h"

#include <QChar>
#include <QList>
#include <QStringList>
#include <QTextBoundaryFinder>

#include <algorithm>

namespace wingbell {

namespace {

bool breaksLine(char32_t character)
{
    return (character >= U'\t' && character <= U'\r') || character == 0x85 || character == 0x2028 ||
           character == 0x2029;
}

/// Of no width or blank, although Unicode counts them as letters and marks.
bool isInvisibleLetter(char32_t character)
{
    return character == 0x034F || character == 0x115F || character == 0x1160 ||
           character == 0x17B4 || character == 0x17B5 ||
           (character >= 0x180B && character <= 0x180F) || character == 0x3164 ||
           character == 0xFFA0;
}

/// Tags and further selectors: a whole text can be hidden in them.
bool isOfSpecialPurpose(char32_t character)
{
    return character >= 0xE0000 && character <= 0xE0FFF;
}

bool disturbs(char32_t character)
{
    const QChar::Category category = QChar::category(character);
    return category == QChar::Other_Control || category == QChar::Other_Format ||
           isInvisibleLetter(character) || isOfSpecialPurpose(character);
}

bool isPictograph(char32_t character)
{
    return QChar::category(character) == QChar::Symbol_Other;
}

/// A colour of skin, or the selector that asks for a picture.
bool changesPictograph(char32_t character)
{
    return character == 0xFE0F || (character >= 0x1F3FB && character <= 0x1F3FF);
}

/// True when the character at `at` joins two pictographs to one.
bool joinsPictographs(const QList<uint>& text, qsizetype at)
{
    constexpr uint joiner = 0x200D;
    if (text.at(at) != joiner || at + 1 == text.size() || !isPictograph(text.at(at + 1))) {
        return false;
    }
    qsizetype before = at - 1;
    while (before >= 0 && changesPictograph(text.at(before))) {
        --before;
    }
    return before >= 0 && isPictograph(text.at(before));
}

/// How many code units the code point at `at` takes.
qsizetype unitsAt(QStringView text, qsizetype at)
{
    const bool pair =
        text.at(at).isHighSurrogate() && at + 1 < text.size() && text.at(at + 1).isLowSurrogate();
    return pair ? 2 : 1;
}

void appendUnit(QStringList& parts, std::chrono::hours::rep count, const QString& unit)
{
    if (count > 0) {
        parts.append(
            QString::number(count) + QLatin1Char(' ') + unit +
            (count == 1 ? QString() : QStringLiteral("s")));
    }
}

} // namespace

QString onOneLine(QStringView text)
{
    const QList<uint> characters = text.toUcs4();
    QString line;
    line.reserve(text.size());
    for (qsizetype at = 0; at < characters.size(); ++at) {
        const char32_t character = characters.at(at);
        if (breaksLine(character)) {
            line.append(QLatin1Char(' '));
        } else if (disturbs(character) && !joinsPictographs(characters, at)) {
            line.append(QChar::ReplacementCharacter);
        } else {
            line.append(QChar::fromUcs4(character));
        }
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

QByteArrayView firstBytes(QByteArrayView utf8, qsizetype maxBytes)
{
    const auto continuesCharacter = [utf8](qsizetype at) {
        return (static_cast<unsigned char>(utf8.at(at)) & 0xC0U) == 0x80U;
    };
    qsizetype size = std::min(utf8.size(), maxBytes);
    while (size > 0 && size < utf8.size() && continuesCharacter(size)) {
        --size;
    }
    return utf8.first(size);
}

QString quoted(QStringView text, qsizetype maxShown)
{
    const QStringView shown = firstCharacters(text, maxShown);
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

QString durationInWords(std::chrono::milliseconds duration)
{
    using namespace std::chrono;
    if (duration < 1s) {
        return QStringLiteral("less than a second");
    }
    QStringList parts;
    appendUnit(parts, duration_cast<hours>(duration).count(), QStringLiteral("hour"));
    appendUnit(parts, duration_cast<minutes>(duration % 1h).count(), QStringLiteral("minute"));
    appendUnit(parts, duration_cast<seconds>(duration % 1min).count(), QStringLiteral("second"));
    return parts.join(QLatin1Char(' '));
}

} // namespace wingbell
