#include "relay/access/CrewCode.h"

#include "relay/access/StateDirectory.h"

#include <QRandomGenerator>

#include <algorithm>
#include <openssl/crypto.h>
#include <random>

namespace wingbell {

CrewCode::CrewCode(QString text)
    : m_text(std::move(text))
{
}

CrewCode CrewCode::random()
{
    std::uniform_int_distribution<quint32> code(0, 999'999);
    const QString number = QString::number(code(*QRandomGenerator::system()));
    return CrewCode(number.rightJustified(digits, QLatin1Char('0')));
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
    return given.size() == digits &&
           CRYPTO_memcmp(m_text.utf16(), given.utf16(), digits * sizeof(QChar)) == 0;
}

StoredCrewCode loadOrCreateCrewCode(const StateDirectory& folder)
{
    const QString file = QStringLiteral("crew-code");
    const auto stored = folder.read(file);
    if (stored) {
        // As editors leave it: with a line feed at the end.
        if (const auto code = CrewCode::fromText(QString::fromLatin1(stored->trimmed()))) {
            return {*code, false, {}, {}};
        }
    }
    const QString because =
        stored
            ? QStringLiteral("the file holds no six digits")
            : (stored.error().kind == FileError::Kind::Missing ? QString() : stored.error().reason);
    const CrewCode code = CrewCode::random();
    const QByteArray line = code.text().toLatin1() + '\n';
    const auto written = folder.write(file, line);
    return {code, true, because, written ? QString() : written.error().reason};
}

} // namespace wingbell
