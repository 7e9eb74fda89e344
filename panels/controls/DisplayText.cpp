#include "panels/controls/DisplayText.h"

#include <QRegularExpression>
#include <QTextBoundaryFinder>
#include <QTextLayout>

namespace wingbell {

namespace {

QString& replaceLineBreaks(QString& text, QChar by)
{
    static const QRegularExpression lineBreak(QStringLiteral("\\R"));
    return text.replace(lineBreak, by);
}

bool fits(const QString& text, const QFont& font, double width, int lines)
{
    QTextLayout layout(text, font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    int used = 0;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        ++used;
    }
    layout.endLayout();
    return used <= lines;
}

} // namespace

QString DisplayText::withBlanks(QString text)
{
    return replaceLineBreaks(text, u' ');
}

QString DisplayText::withReturnSigns(QString text)
{
    constexpr QChar returnSign(u'\u21B5');
    return replaceLineBreaks(text, returnSign);
}

QString DisplayText::elidedAtHead(const QString& text, const QFont& font, double width, int lines)
{
    if (width <= 0.0 || fits(text, font, width, lines)) {
        return text;
    }
    QTextBoundaryFinder boundaries(QTextBoundaryFinder::Grapheme, text);
    while (boundaries.toNextBoundary() >= 0 && boundaries.position() < text.size()) {
        QString shortened = QChar(u'\u2026') + text.sliced(boundaries.position());
        if (fits(shortened, font, width, lines)) {
            return shortened;
        }
    }
    return QString(QChar(u'\u2026'));
}

} // namespace wingbell
