#include "relay/crew/KeptCrewCode.h"

#include "relay/crew/CrewFolder.h"

#include <QByteArray>

namespace wingbell {

KeptCrewCode keptCrewCode(const CrewFolder& folder)
{
    const QString file = QStringLiteral("crew-code");
    const CrewFolder::Reading reading = folder.read(file);
    if (reading.bytes) {
        // As editors leave it: with a line feed at the end.
        const auto code = CrewCode::fromText(QString::fromLatin1(reading.bytes->trimmed()));
        if (code) {
            return {*code, false, {}, {}};
        }
    }
    const QString because =
        reading.bytes ? QStringLiteral("the file holds no six digits") : reading.problem;
    const CrewCode code = CrewCode::random();
    const QByteArray line = code.text().toLatin1() + '\n';
    return {code, true, because, folder.write(file, line).value_or(QString())};
}

} // namespace wingbell
