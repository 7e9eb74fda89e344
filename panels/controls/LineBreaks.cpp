#include "panels/controls/LineBreaks.h"

#include <QRegularExpression>

namespace wingbell {

namespace {

QString& replaceLineBreaks(QString& text, QChar by)
{
    static const QRegularExpression lineBreak(QStringLiteral("\\R"));
    return text.replace(lineBreak, by);
}

} // namespace

QString LineBreaks::asBlanks(QString text)
{
    return replaceLineBreaks(text, u' ');
}

QString LineBreaks::asSigns(QString text)
{
    constexpr QChar returnSign(u'\u21B5');
    return replaceLineBreaks(text, returnSign);
}

} // namespace wingbell
