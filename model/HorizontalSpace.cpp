#include "model/HorizontalSpace.h"

namespace wingbell {

namespace {

bool isHorizontalSpace(QChar character)
{
    return character == QLatin1Char('\t') || character.category() == QChar::Separator_Space;
}

} // namespace

QString trimmedOfHorizontalSpace(QStringView text)
{
    while (!text.isEmpty() && isHorizontalSpace(text.front())) {
        text = text.sliced(1);
    }
    while (!text.isEmpty() && isHorizontalSpace(text.back())) {
        text.chop(1);
    }
    return text.toString();
}

} // namespace wingbell
