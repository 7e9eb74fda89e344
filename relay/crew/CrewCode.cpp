#include "relay/crew/CrewCode.h"

#include "relay/crew/RandomBytes.h"

#include <QtEndian>

#include <algorithm>

namespace wingbell {

namespace {

constexpr quint32 howMany = 1'000'000;

/// The largest multiple of `howMany` that a random number stays below, or codes below the rest of
/// the division would come more often.
constexpr quint32 fairBelow = 0xFFFFFFFFU / howMany * howMany;

quint32 randomBelowMillion()
{
    for (;;) {
        const auto number = qFromBigEndian<quint32>(randomBytes(sizeof(quint32)).constData());
        if (number < fairBelow) {
            return number % howMany;
        }
    }
}

} // namespace

CrewCode::CrewCode(QString text)
    : m_text(std::move(text))
{
}

CrewCode CrewCode::random()
{
    constexpr int decimal = 10;
    return CrewCode(
        QString::number(randomBelowMillion(), decimal).rightJustified(digits, QLatin1Char('0')));
}

std::optional<CrewCode> CrewCode::fromText(QStringView text)
{
    const auto isDigit = [](QChar character) {
        return character >= QLatin1Char('0') && character <= QLatin1Char('9');
    };
    if (text.size() != digits || !std::all_of(text.begin(), text.end(), isDigit)) {
        return std::nullopt;
    }
    return CrewCode(text.toString());
}

bool CrewCode::matches(QStringView given) const
{
    if (given.size() != digits) {
        return false;
    }
    unsigned differences = 0;
    for (qsizetype at = 0; at < digits; ++at) {
        differences |= static_cast<unsigned>(m_text.at(at).unicode() ^ given.at(at).unicode());
    }
    return differences == 0;
}

} // namespace wingbell
