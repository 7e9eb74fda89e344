#pragma once

#include <QString>
#include <QtGlobal>

namespace wingbell {

/// Keeps the computer from falling asleep by itself while something runs; the display may sleep.
///
/// User-interface thread only. No call waits for anything outside the program, none fails.
class SleepInhibitor
{
public:
    SleepInhibitor() = default;
    Q_DISABLE_COPY_MOVE(SleepInhibitor)
    virtual ~SleepInhibitor() = default;

    /// Takes one inhibition that bears `reason`, for a person to read. The identifier to release it
    /// by; 0 when there is none to release.
    [[nodiscard]] virtual quint32 inhibit(const QString& reason) = 0;

    /// Gives back the inhibition with that identifier. An unknown identifier is ignored.
    virtual void release(quint32 identifier) = 0;
};

} // namespace wingbell
