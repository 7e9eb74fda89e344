#pragma once

#include <chrono>

namespace wingbell {

/// How long a speech program and what it says may take.
struct SpeechLimits
{
    /// How long it may do nothing at all before it counts as hung.
    std::chrono::milliseconds silence = std::chrono::seconds(2);
    /// How long it may take in all before it counts as hung.
    std::chrono::milliseconds total = std::chrono::seconds(15);
    /// How much of the sound is played; the rest is cut off.
    std::chrono::milliseconds sound = std::chrono::seconds(90);
    /// How much of it is played while another sender waits for one of its channels.
    std::chrono::milliseconds hold = std::chrono::seconds(20);
};

} // namespace wingbell
