#pragma once

#include "relay/crew/CardAnswer.h"
#include "relay/crew/DeskEvent.h"
#include "relay/crew/Goodbye.h"
#include "relay/crew/JoinAnswer.h"
#include "relay/crew/RolesAnswer.h"

#include <QByteArray>
#include <QLatin1String>

#include <chrono>

namespace wingbell {

// What the server tells the crew's pages: JSON in UTF-8, on one line. A lone surrogate, which is no
// text, becomes a question mark.

[[nodiscard]] QByteArray answerText(const RolesAnswer& answer);
[[nodiscard]] QByteArray answerText(const JoinAnswer& answer);
[[nodiscard]] QByteArray answerText(const CardAnswer& answer);

/// {"error":"word"}
[[nodiscard]] QByteArray errorText(QLatin1String word);
/// {"error":"slow-down","seconds":5}
[[nodiscard]] QByteArray slowDownText(std::chrono::seconds wait);

// What events of a stream bring.

[[nodiscard]] QByteArray eventData(const DeskEvent& event);
[[nodiscard]] QByteArray eventData(Goodbye reason);

} // namespace wingbell
