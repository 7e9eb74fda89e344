#pragma once

#include <QString>

namespace wingbell {

/// Why a crew member is gone.
enum class Departure {
    Left,       ///< said so
    Vanished,   ///< no sign of life
    NeverCame,  ///< got an offer and made nothing of it
    LinkBroken, ///< the sound's way broke and nobody mended it
    Forged,     ///< came with another certificate than its answer promised
};

/// Learns who comes and goes, to tell it. Main thread only.
class CrewNews
{
public:
    virtual ~CrewNews() = default;

    /// Somebody at `address` is on `role`, and can be heard there or only listens.
    virtual void joined(const QString& role, const QString& address, bool microphone) = 0;
    /// The same one again, after the connection was lost and found.
    virtual void returned(const QString& role, const QString& address) = 0;
    virtual void left(const QString& role, const QString& address, Departure why) = 0;
};

} // namespace wingbell
