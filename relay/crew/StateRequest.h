#pragma once

#include <QString>
#include <QtGlobal>

#include <vector>

namespace wingbell {

/// Tells which keys are pressed and what is listened to. Whether the channels exist is not known
/// here.
struct StateRequest
{
    QString session;
    quint64 number = 0;        ///< grows with every state of a session
    std::vector<int> talk;     ///< channels spoken on: ascending, each once, none negative
    std::vector<float> levels; ///< for every channel, from 0 (muted) to 1

    friend bool operator==(const StateRequest&, const StateRequest&) = default;
};

} // namespace wingbell
